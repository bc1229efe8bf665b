// tesk-option-docs FORMAT OUT: writes one completion script or manual page.
#include "platform/files.h"
#include "tools/option_docs/documents.h"

#include <cerrno>
#include <cstdio>

namespace {

int fail(const char* path)
{
    std::fprintf(stderr, "%s: %s\n", path, tesk::platform::errorText(errno).c_str());
    return 1;
}

int write(const std::string& text, const char* path)
{
    tesk::platform::FilePtr file(tesk::platform::open_utf8(path, "wb"));
    if (!file || std::fwrite(text.data(), 1, text.size(), file.get()) != text.size()) return fail(path);
    return std::fclose(file.release()) == 0 ? 0 : fail(path);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 3)
        for (const tesk::docs::Document& document : tesk::docs::documents())
            if (document.name == argv[1]) return write(document.text(), argv[2]);
    std::fprintf(stderr, "usage: tesk-option-docs FORMAT OUT\nformats:");
    for (const tesk::docs::Document& document : tesk::docs::documents())
        std::fprintf(stderr, " %s", std::string(document.name).c_str());
    std::fputc('\n', stderr);
    return 1;
}
