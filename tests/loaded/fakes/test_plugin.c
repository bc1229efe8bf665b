/* A decoder plugin without files: the "path" says how to behave, "channels=6 frames=1000 chunk=7". The samples are a
 * ramp, so that a frame or channel out of place shows. */
#include "public/tesk_ext_decoder.h"

#include <math.h>
#include <stdatomic.h>
#include <stdlib.h>
#include <string.h>
#include <threads.h>
#include <time.h>

#ifndef TEST_VERSION
#define TEST_VERSION 1
#endif
#ifndef TEST_CODECS
#define TEST_CODECS "ramp"
#endif

enum { NEVER = 1 << 30 };

struct tesk_ext_decoder {
    char script[256];
    int64_t position, frames, channels;
    int failed, refused;
};

static _Thread_local const char* openError = "";
static atomic_int openDecoders;

TESK_EXT_API int test_plugin_open_decoders(void);
int test_plugin_open_decoders(void) { return openDecoders; }

static int64_t number(const char* script, const char* key, int64_t otherwise)
{
    const size_t length = strlen(key);
    for (const char* at = strstr(script, key); at; at = strstr(at + 1, key))
        if ((at == script || at[-1] == ' ') && at[length] == '=') return (int64_t)strtoull(at + length + 1, NULL, 10);
    return otherwise;
}

int32_t tesk_ext_abi_version(void) { return TEST_VERSION; }

const char* tesk_ext_codecs(void)
{
    thrd_sleep(&(struct timespec){.tv_nsec = 20000000}, NULL); /* so that loads on other threads come in between */
    return TEST_CODECS;
}

tesk_ext_decoder* tesk_ext_open(const char* path, tesk_ext_format* format)
{
    openError = "not a ramp";
    if (!path || !format || strlen(path) >= sizeof(((tesk_ext_decoder*)0)->script)) return NULL;
    if (number(path, "refuse", 0)) {
        /* a bell, a line break, a C1 control, an umlaut, a stray byte, an overlong slash */
        openError = number(path, "nulltext", 0) ? NULL : "no\ath\n\xC2\x9Bing \xC3\xBC \xFF\xC0\xAF";
        return NULL;
    }
    tesk_ext_decoder* decoder = calloc(1, sizeof *decoder);
    if (!decoder || format->struct_size != sizeof *format) abort();
    strcpy(decoder->script, path);
    decoder->channels = number(path, "channels", 2);
    decoder->frames = number(path, "frames", 10000);
    format->struct_size = (uint32_t)number(path, "size", sizeof *format);
    format->channels = (uint32_t)decoder->channels;
    format->sample_rate = (uint32_t)number(path, "rate", 44100);
    format->bits_per_sample = (uint32_t)number(path, "bits", 24);
    format->is_float = (uint32_t)number(path, "float", 0);
    format->total_frames = (uint64_t)number(path, "total", decoder->frames);
    memset(format->codec, 'x', number(path, "longname", 0) ? sizeof format->codec : 3);
    ++openDecoders;
    return decoder;
}

int64_t tesk_ext_read(tesk_ext_decoder* d, double* to, uint64_t maxFrames)
{
    if (d->failed) abort(); /* nothing may be read behind an error */
    const char* script = d->script;
    const int64_t stop = number(script, "stop", NEVER), nan = number(script, "nan", NEVER);
    const int64_t limits[] = {(int64_t)maxFrames, d->frames - d->position, stop - d->position};
    int64_t count = number(script, "chunk", NEVER);
    for (int i = 0; i < 3; ++i)
        if (count > limits[i]) count = limits[i];
    if (count == 0 && d->position == stop) {
        d->failed = 1;
        if (number(script, "spill", 0)) to[maxFrames * (uint64_t)d->channels] = 0.5;
        return number(script, "answer", -1);
    }
    for (int64_t i = 0; i < count * d->channels; ++i) {
        const int64_t frame = d->position + i / d->channels, channel = i % d->channels;
        to[i] = frame == nan ? NAN : ldexp((double)(frame * 64 + channel), -31);
    }
    d->position += count;
    return count;
}

int32_t tesk_ext_seek(tesk_ext_decoder* d, uint64_t frame)
{
    if (d->failed) abort();
    const int32_t answer = (int32_t)number(d->script, "seek", frame > (uint64_t)d->frames ? -1 : 0);
    d->refused = answer != 0;
    if (!d->refused) d->position = (int64_t)frame;
    return answer;
}

void tesk_ext_close(tesk_ext_decoder* decoder)
{
    if (decoder) --openDecoders;
    free(decoder);
}

const char* tesk_ext_last_error(tesk_ext_decoder* decoder)
{
    if (!decoder) return openError;
    return decoder->failed ? "the tape is torn" : decoder->refused ? "cannot wind" : "";
}
