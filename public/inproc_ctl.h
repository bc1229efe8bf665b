/* The control channel between a host and the engine that it runs in its own process. Plain C11; include it alone.
 *
 * The host passes two numbers on the command line:
 *     -inproc-ctl N       the address of its queue, any object it likes
 *     -inproc-ctl-fn N    the address of a tesk_inproc_read_line function for it
 * The engine reads lines on a thread of its own. "stop", "quit", "cancel" and "q" end the run with status -61; any
 * other line is reported on standard error and ignored. */
#ifndef TESK_INPROC_CTL_H
#define TESK_INPROC_CTL_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Waits for the next line and writes up to `size` bytes of it into `buffer`, without a terminating zero; a line feed
 * at its end may stay. Returns the number of bytes, or a value below 1 when the channel is closed: the engine's reader
 * then ends and never calls again. The queue must live until then. Called from the engine's reader thread only. */
typedef int32_t (*tesk_inproc_read_line)(void* queue, char* buffer, int32_t size);

#ifdef __cplusplus
}
#endif

#endif
