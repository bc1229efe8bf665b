/* The interface of decoder plugins, version 1. Plain C11 and C++20; include it alone.
 *
 * A plugin is one shared library that turns files into PCM. It exports the seven functions below, knows nothing of the
 * engine but this header, and is called by it like this:
 *
 *     tesk_ext_abi_version      1, or the library is unloaded again
 *     tesk_ext_codecs           a text that is not empty, or the library is unloaded again
 *     per file:
 *         tesk_ext_open         null: tesk_ext_last_error(NULL) on the same thread tells why
 *         tesk_ext_seek         when only a part of the file is wanted
 *         tesk_ext_read         until it returns 0, or -1: then tesk_ext_last_error
 *         tesk_ext_close
 *
 * Samples are interleaved doubles, full scale +-1.0. A double holds 32-bit integers and 32-bit floats without loss, so
 * no sample format has to be agreed upon. An integer sample of b bits is value / 2^(b-1). Channels come in WAVE order:
 * front left, front right, centre, low frequency, back left, back right, side left, side right. Values beyond +-1.0 are
 * for floating-point sources; infinities and NaNs are for nobody.
 *
 * Frames count once for all channels. All texts are UTF-8 and zero-terminated.
 *
 * Memory. The caller owns path, format and samples; the plugin owns its decoders and all texts. Nothing that one side
 * allocated is freed by the other.
 *
 * Threads. Different decoders may be used on different threads at the same time. One decoder is used by one thread at a
 * time, but may move between threads; so it keeps nothing in thread-local variables. The reason of a failed open is the
 * one exception.
 *
 * A plugin does not: let an exception or a longjmp through, end the process, write to standard output (to standard
 * error only when an environment variable of its own asks for it), change the locale, the rounding mode or signal
 * handlers, or leave threads running after tesk_ext_close. It does no work at load time: it may be unloaded directly
 * after tesk_ext_abi_version or tesk_ext_codecs. Once accepted it stays for the life of the process. */
#ifndef TESK_EXT_DECODER_H
#define TESK_EXT_DECODER_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Stands in front of every function that leaves the library. The calling convention is the platform's plain C one. */
#if defined(_WIN32)
#define TESK_EXT_API __declspec(dllexport)
#else
#define TESK_EXT_API __attribute__((visibility("default")))
#endif

/* Changes when a signature or a meaning changes; not when tesk_ext_format gets further fields at its end. */
#define TESK_EXT_ABI_VERSION 1

/* One open file; only the plugin knows what is in it. */
typedef struct tesk_ext_decoder tesk_ext_decoder;

/* What a file holds. 64 bytes on every target, without padding. The caller zeroes it. */
typedef struct tesk_ext_format {
    uint32_t struct_size;     /* in: bytes that the caller provides; out: bytes that the plugin filled, no more than
                               * that and at least the first three fields. Fields behind them count as 0. */
    uint32_t channels;        /* 1 to 64 */
    uint32_t sample_rate;     /* Hz */
    uint32_t bits_per_sample; /* word length of the source, 1 to 64; 0 when it has none, as with lossy formats */
    uint32_t is_float;        /* 1 when the source holds floating-point samples, else 0 */
    uint32_t reserved;        /* 0 */
    uint64_t total_frames;    /* 0 when not known. A hint: tesk_ext_read tells where the end is. */
    char codec[32];           /* short name of what was found, "ALAC" */
} tesk_ext_format;

/* Returns TESK_EXT_ABI_VERSION. */
TESK_EXT_API int32_t tesk_ext_abi_version(void);

/* Returns what the plugin decodes: lower-case names with commas between, "alac,ape,tak". Static; neither null nor
 * empty. For people to read: the engine does not choose by it. */
TESK_EXT_API const char* tesk_ext_codecs(void);

/* Opens the file and decodes enough of it to be sure of channels and rate. The plugin opens the file itself, and others
 * beside it if the format has such.
 *
 * Returns the decoder, positioned at frame 0, with `format` filled as far as its struct_size allows. Null, with nothing
 * left open, when the file cannot be decoded or an argument is null. */
TESK_EXT_API tesk_ext_decoder* tesk_ext_open(const char* utf8_path, tesk_ext_format* format);

/* Decodes up to `max_frames` frames to `interleaved`, which has room for max_frames x channels doubles; behind the
 * returned number of frames nothing is written.
 *
 * Returns the number of frames; fewer than asked for do not mean the end. 0 at the end, and again on every later call.
 * -1 when samples are lost: then only tesk_ext_last_error and tesk_ext_close are called. A plugin that can pass over
 * damage goes on behind it. At the end it returns -1, instead of 0, when a part of the recording is missing; flaws
 * that lossy formats live with end in 0, and the text of tesk_ext_last_error is then shown as a warning. */
TESK_EXT_API int64_t tesk_ext_read(tesk_ext_decoder* decoder, double* interleaved, uint64_t max_frames);

/* Makes `frame` the first one of the next read, to the sample. total_frames is allowed; the next read then returns 0.
 *
 * Returns 0, or -1 when the file does not allow it: reading then goes on where it was. */
TESK_EXT_API int32_t tesk_ext_seek(tesk_ext_decoder* decoder, uint64_t frame);

/* Frees the decoder and closes its file. Null is allowed. */
TESK_EXT_API void tesk_ext_close(tesk_ext_decoder* decoder);

/* Returns what went wrong last with the decoder; with null, why the last tesk_ext_open of this thread failed. Never
 * null; "" when nothing did. Valid until the next call with this decoder, or the next tesk_ext_open of this thread. */
TESK_EXT_API const char* tesk_ext_last_error(tesk_ext_decoder* decoder);

#ifdef __cplusplus
}
#endif

#endif
