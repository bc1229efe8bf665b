/* The engine's two functions. Plain C11; include it alone. */
#ifndef TESK_ENGINE_H
#define TESK_ENGINE_H

#ifdef __cplusplus
extern "C" {
#endif

#if defined(_WIN32)
#if defined(TESK_ENGINE_BUILDING)
#define TESK_API __declspec(dllexport)
#else
#define TESK_API __declspec(dllimport)
#endif
#else
#define TESK_API __attribute__((visibility("default")))
#endif

/* Runs one whole command line, as a program's main function would get it (argv[0] is skipped, a null entry counts as
 * an empty text), in the caller's process.
 *
 * Returns 0 after a successful run, a negative status after a failed step, 1 when the command line was rejected, -61
 * after the host stopped the run. One call at a time in a process; calling again afterwards is fine. A call that
 * printed help or version leaves its status to the next call, which returns it at once. */
TESK_API int tesk_engine_main(int argc, char** argv);

/* Tells the engine whether it owns the process: then it ends the process itself (exit) after help, version, a rejected
 * command line or a fatal output error. Call it once, before the first tesk_engine_main. Returns owner != 0. */
TESK_API int tesk_engine_set_process_owner(int owner);

#ifdef __cplusplus
}
#endif

#endif
