// tesk_engine(3): the engine inside another program.
#include "tools/option_docs/documents.h"
#include "tools/option_docs/roff.h"

namespace tesk::docs {

std::string hostExample()
{
    return R"(#include "public/inproc_ctl.h"
#include "public/tesk_engine.h"

#include <stdio.h>

struct queue {
    int stop_fd;
};

/* Waits until the host wants the run to stop. */
static int32_t read_line(void* queue, char* buffer, int32_t size);

int convert(struct queue* queue)
{
    char object[32], function[32];
    snprintf(object, sizeof object, "%llu",
             (unsigned long long)(uintptr_t)queue);
    snprintf(function, sizeof function, "%llu",
             (unsigned long long)(uintptr_t)read_line);
    char* words[] = {"host", "-i", "song.flac", "song.dsf",
                     "-inproc-ctl", object,
                     "-inproc-ctl-fn", function, NULL};
    return tesk_engine_main(8, words);
}
)";
}

std::string enginePage()
{
    RoffPage page("tesk_engine", "3", "run conversions inside another program");
    page.heading("Library").paragraph("libteskengine, -lteskengine; pkg-config and CMake know it as teskengine and "
                                      "TeskEngine::teskengine.");
    page.heading("Synopsis")
        .example("#include \"public/tesk_engine.h\"\n"
                 "#include \"public/inproc_ctl.h\"\n"
                 "\n"
                 "int tesk_engine_main(int argc, char** argv);\n"
                 "int tesk_engine_set_process_owner(int owner);\n"
                 "\n"
                 "typedef int32_t (*tesk_inproc_read_line)(void* queue, char* buffer,\n"
                 "                                         int32_t size);\n");
    page.heading("Description")
        .item(bold("tesk_engine_main"),
              "runs one whole command line of tesk(1) in the caller's process. argv[0] is skipped, and a null entry "
              "counts as an empty text. One call at a time in a process; calling again afterwards is fine.")
        .item(bold("tesk_engine_set_process_owner"),
              "tells the engine whether the process is its own. With 1 it ends the process itself after help, "
              "version, a rejected command line or a truncated output; with 0, the state at start, every call "
              "returns. To be called before the first tesk_engine_main.");
    page.paragraph("The engine installs no signal handler, switches its thread to the C locale for the call, and lets "
                   "no exception through.");
    page.heading("Control channel")
        .paragraph("A host stops a run through two options, both with a decimal number:")
        .item(bold("-inproc-ctl") + " " + italic("N"), "the address of its queue, any object it likes")
        .item(bold("-inproc-ctl-fn") + " " + italic("N"), "the address of a tesk_inproc_read_line function for it");
    page.paragraph("The engine calls the function on a thread of its own. It waits for the next line, writes up to "
                   "size bytes of it into buffer, without a terminating zero, and returns their number; a value "
                   "below 1 closes the channel, and it is never called again. The queue must live until then, or "
                   "until a line that stops.")
        .paragraph("\"stop\", \"quit\", \"cancel\" and \"q\", in small letters, end the run at its next block with "
                   "-61. Any other line is reported on standard error and ignored. A request that comes while no job "
                   "runs waits for the next one.");
    page.heading("Return value")
        .paragraph("tesk_engine_main returns 0 after a successful run, 1 when the command line was rejected, -61 "
                   "when it was stopped, and the negative status of a step that failed; tesk(1) has the list, with "
                   "what a shell shows of it. A call that printed help or version leaves its status to the next "
                   "call, which does nothing but return it.")
        .paragraph("tesk_engine_set_process_owner returns whether owner was not 0.");
    page.heading("Examples").example(hostExample());
    page.heading("See also").source(".BR tesk (1)");
    return page.text();
}

} // namespace tesk::docs
