/* A media library of the 3.x generation as far as its users can see: nineteen functions and memory images with the
 * fields at their places (64-bit, releases 3.0 to 3.4). It opens no file: the name says what the "file" holds, as in
 * "/any/where/fmt=6,rate=96000,bad=3.ape". Wrong use ends the process.
 * STUB_VERSION is the major version told, 0 for none. */
#define _GNU_SOURCE
#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#ifndef STUB_VERSION
#define STUB_VERSION 57
#endif

enum { PACKET_FRAMES = 1000, PACKET_BYTES = 24, END_OF_FILE = -541478725, INVALID_ARGUMENT = -22 };

typedef struct {
    char context[1200]; /* AVFormatContext: what the user's pointer names */
    char streams[2][800];
    char codecs[2][1000];
    void* list[2];
    char name[200];
    int next;            /* packet that is read next */
    int again, calls;    /* "try again" was said; decode calls for the packet at work */
    int held;            /* packet of a delayed frame, -1 for none */
    int opened, drained; /* of the decoder */
} File;

#define PUT(type, base, offset, value)                                                                                 \
    do {                                                                                                               \
        type put_ = (value);                                                                                           \
        memcpy((char*)(base) + (offset), &put_, sizeof put_);                                                          \
    } while (0)

static int32_t get32(const void* base, int offset)
{
    int32_t value;
    memcpy(&value, (const char*)base + offset, sizeof value);
    return value;
}

static void* getPointer(const void* base, int offset)
{
    void* value;
    memcpy(&value, (const char*)base + offset, sizeof value);
    return value;
}

static void require(int truth, const char* what)
{
    if (truth) return;
    fprintf(stderr, "media_stub: %s\n", what);
    abort();
}

/* The number behind "key=" in the file's name. */
static int64_t knob(const File* file, const char* key, int64_t otherwise)
{
    const size_t length = strlen(key);
    for (const char* at = file->name; at; at = strchr(at, ',') ? strchr(at, ',') + 1 : NULL)
        if (strncmp(at, key, length) == 0 && at[length] == '=') return strtol(at + length + 1, NULL, 0);
    return otherwise;
}

static File* fileOf(const void* codec) { return getPointer(codec, 72); }

int av_get_bytes_per_sample(int format)
{
    static const int bytes[12] = {1, 2, 4, 4, 8, 1, 2, 4, 4, 8, 8, 8};
    return format >= 0 && format < 12 ? bytes[format] : 0;
}

int av_sample_fmt_is_planar(int format) { return (format >= 5 && format <= 9) || format == 11; }

int av_strerror(int error, char* text, size_t bytes)
{
    snprintf(text, bytes, "stub error %d", error);
    return 0;
}

void av_log_set_level(int level) { require(level == -8, "logs"); }

void av_frame_unref(void* frame)
{
    free(getPointer(frame, 288));
    memset(frame, 0, 528);
    PUT(int32_t, frame, 116, -1);
    PUT(int64_t, frame, 136, INT64_MIN);
    PUT(void*, frame, 96, frame);
}

/* The real library's opening and closing of codecs fails when two threads meet in it. */
static int busy;
static int enter(void)
{
    if (__atomic_exchange_n(&busy, 1, __ATOMIC_SEQ_CST)) return 0;
    usleep(300);
    return 1;
}
static void leave(void) { __atomic_store_n(&busy, 0, __ATOMIC_SEQ_CST); }

void* avcodec_find_decoder(int id)
{
    static char decoder[64] __attribute__((aligned(16)));
    return id == 0x15032 ? NULL : decoder; /* this stub has no decoder for LATM */
}

int avcodec_open2(void* codec, const void* decoder, void** options)
{
    File* file = fileOf(codec);
    require(decoder && !options && !file->opened, "avcodec_open2");
    if (!enter()) return INVALID_ARGUMENT;
    const int status = knob(file, "open2", 0);
    file->opened = status == 0;
    PUT(int32_t, codec, 480, knob(file, "late", 0) ? -1 : knob(file, "fmt", 6));
    PUT(int32_t, codec, 476, knob(file, "channels2", get32(codec, 476)));
    leave();
    return status;
}

int avcodec_close(void* codec)
{
    require(fileOf(codec)->opened, "avcodec_close");
    require(enter(), "two threads close codecs");
    fileOf(codec)->opened = 0;
    leave();
    return 0;
}

void avcodec_flush_buffers(void* codec)
{
    fileOf(codec)->held = -1;
    fileOf(codec)->drained = fileOf(codec)->calls = 0;
}

void av_init_packet(void* packet)
{
    void* data = getPointer(packet, 24);
    const int32_t size = get32(packet, 32);
    memset(packet, 0, 88);
    PUT(int64_t, packet, 8, INT64_MIN);
    PUT(void*, packet, 24, data);
    PUT(int32_t, packet, 32, size);
}

void av_packet_unref(void* packet)
{
    free(getPointer(packet, 0));
    memset(packet, 0, 88);
}

/* The samples: all bits of a 32-bit word move. */
static void putSample(char* to, int format, int frame, int channel, int64_t nanFrame)
{
    const int32_t word = (int32_t)((uint32_t)frame * 2654435761u + (uint32_t)channel * 2246822519u);
    const float real = frame == nanFrame && channel == 0 ? NAN : (float)word / 2147483648.0f;
    const int16_t half = (int16_t)(word >> 16);
    const int bytes = av_get_bytes_per_sample(format);
    if (bytes != 2 && bytes != 4) return;
    memcpy(to, bytes == 2 ? (const void*)&half : format % 5 == 2 ? (const void*)&word : &real, (size_t)bytes);
}

/* What the stream turns into at packet `number`. */
static int shapeAt(void* codec, int number)
{
    const File* file = fileOf(codec);
    if (knob(file, "late", 0)) PUT(int32_t, codec, 472, knob(file, "rate", 44100));
    if (number == knob(file, "channelsat", -1)) PUT(int32_t, codec, 476, 1);
    if (number == knob(file, "rateat", -1)) PUT(int32_t, codec, 472, 22050);
    const int format = number >= knob(file, "fmtat", 1000) ? knob(file, "fmtto", 7) : knob(file, "fmt", 6);
    PUT(int32_t, codec, 480, format);
    return format;
}

static void makeFrame(void* codec, void* frame, int first, int count)
{
    const File* file = fileOf(codec);
    require(get32(frame, 116) == -1 && getPointer(frame, 288) == NULL, "frame not cleared");
    const int format = shapeAt(codec, first / PACKET_FRAMES);
    const int channels = get32(codec, 476), bytes = av_get_bytes_per_sample(format);
    const int planar = av_sample_fmt_is_planar(format);
    const size_t list = sizeof(void*) * (size_t)channels, room = (size_t)(count * bytes);
    char* block = malloc(list + room * (size_t)channels); /* exact, so that a sanitizer sees every step too far */
    for (int c = 0; c < channels; ++c) {
        char* plane = block + list + (planar ? room * (size_t)c : 0);
        memcpy(block + sizeof(void*) * (size_t)c, &plane, sizeof plane);
        for (int i = 0; i < count; ++i)
            putSample(plane + (planar ? i * bytes : (i * channels + c) * bytes), format, first + i, c,
                      knob(file, "nan", -1));
    }
    const int64_t null = knob(file, "null", 0);
    if (null == 6) memset(block, 0, list);
    PUT(void*, frame, 288, block);
    PUT(void*, frame, 96, null == 5 ? NULL : block + (null == 7 ? 4 : 0));
    PUT(int32_t, frame, 64, knob(file, "line", count * bytes * (planar ? 1 : channels)));
    PUT(int32_t, frame, 112, count);
    PUT(int32_t, frame, 116, format);
}

static int drain(void* codec, void* frame, int* got)
{
    File* file = fileOf(codec);
    file->drained = 1;
    if (file->held < 0) return knob(file, "drain", 0);
    makeFrame(codec, frame, file->held * PACKET_FRAMES, PACKET_FRAMES);
    file->held = -1;
    *got = 1;
    return 0;
}

/* In three calls: "zero" consumes everything with the last, "parts" a third with each. The cursor must be exact. */
static int inThirds(void* codec, void* frame, int* got, int number, const unsigned char* data, int size)
{
    static const int from[4] = {0, 300, 700, PACKET_FRAMES};
    File* file = fileOf(codec);
    const int call = file->calls++, parts = knob(file, "parts", 0);
    if (size != PACKET_BYTES - (parts ? call * 8 : 0) || data[1] != (parts ? call : 0)) return INVALID_ARGUMENT;
    makeFrame(codec, frame, number * PACKET_FRAMES + from[call], from[call + 1] - from[call]);
    *got = 1;
    if (call == 2) file->calls = 0;
    return parts ? 8 : call == 2 ? size : 0;
}

int avcodec_decode_audio4(void* codec, void* frame, int* got, const void* packet)
{
    File* file = fileOf(codec);
    const unsigned char* data = getPointer(packet, 24);
    const int size = get32(packet, 32);
    require(file->opened, "decodes before avcodec_open2");
    *got = 0;
    if (size == 0) return drain(codec, frame, got);
    if (file->drained) return INVALID_ARGUMENT; /* has to be flushed first */
    const int number = data[0];
    if (number == knob(file, "bad", -1) || number >= knob(file, "badfrom", 1000)) return -1094995529;
    if (number == knob(file, "stuck", -1)) return 0;
    if (knob(file, "zero", 0) || knob(file, "parts", 0)) return inThirds(codec, frame, got, number, data, size);
    const int out = knob(file, "delay", 0) ? file->held : number;
    file->held = knob(file, "delay", 0) ? number : -1;
    if (out < 0) return size;
    makeFrame(codec, frame, out * PACKET_FRAMES, PACKET_FRAMES);
    *got = 1;
    return size + 10; /* some decoders count more than there is */
}
static int registered;
#if STUB_VERSION
unsigned avformat_version(void);
unsigned avformat_version(void) { return STUB_VERSION << 16 | 83 << 8 | 100; }
#endif

void av_register_all(void) { registered = 1; }

void* av_find_input_format(const char* name)
{
    static char ape[64] __attribute__((aligned(16)));
    return strcmp(name, "ape") == 0 ? ape : NULL;
}

static void fillStream(File* file, int index, int type)
{
    char *stream = file->streams[index], *codec = file->codecs[index];
    const int rate = knob(file, "rate", 44100);
    const int64_t null = knob(file, "null", 0);
    file->list[index] = null == 2 ? NULL : stream;
    PUT(void*, stream, 8, null == 3 ? NULL : codec);
    PUT(int32_t, stream, 48, knob(file, "num", 1));
    PUT(int32_t, stream, 52, knob(file, "den", rate));
    PUT(int64_t, stream, 64, knob(file, "duration", INT64_MIN));
    PUT(int32_t, codec, 12, type);
    PUT(int32_t, codec, 56, knob(file, "id", 0x15021));
    PUT(void*, codec, 72, file);
    PUT(int32_t, codec, 472, knob(file, "late", 0) ? rate / 2 : rate);
    PUT(int32_t, codec, 476, knob(file, "channels", 2));
    PUT(int32_t, codec, 480, knob(file, "late", 0) ? -1 : knob(file, "fmt", 6));
    PUT(int32_t, codec, 876, knob(file, "raw", 0));
}

int avformat_open_input(void** context, const char* url, void* format, void** options)
{
    require(registered && !*context && !options, "avformat_open_input");
    File* file = calloc(1, sizeof *file);
    const char* slash = strrchr(url, '/');
    snprintf(file->name, sizeof file->name, "%s", slash ? slash + 1 : url);
    int status = knob(file, "open", 0);
    if (knob(file, "byname", 0)) status = format ? 0 : -2;
    if (status < 0) {
        free(file);
        return status;
    }
    const int other = knob(file, "other", 0), silent = knob(file, "silent", 0);
    const int64_t null = knob(file, "null", 0);
    fillStream(file, 0, silent ? -1 : other ? 0 : 1);
    fillStream(file, 1, silent ? 3 : 1);
    PUT(uint32_t, file, 44, knob(file, "streams", other || silent ? 2 : 1));
    PUT(void*, file, 48, null == 1 ? NULL : (char*)file->list + (null == 4 ? 4 : 0));
    file->held = -1;
    *context = file;
    return 0;
}

int avformat_find_stream_info(void* context, void** options)
{
    require(!options, "avformat_find_stream_info");
    if (!enter()) return INVALID_ARGUMENT;
    leave();
    return knob(context, "info", 0);
}

int av_read_frame(void* context, void* packet)
{
    File* file = context;
    require(getPointer(packet, 24) == NULL && get32(packet, 32) == 0, "packet not empty");
    if (knob(file, "again", 0) && file->again++ % 2 == 0) return -11;
    if (file->next >= knob(file, "packets", 5)) return knob(file, "readend", END_OF_FILE);
    if (knob(file, "other", 0)) file->again = (file->again + 1) % 4;
    /* Packet 1.5: one of another stream, and an empty one. */
    const int ours = knob(file, "other", 0), mine = !ours || file->again != 2;
    unsigned char* data = calloc(1, PACKET_BYTES + 32);
    for (int i = 0; i < 3; ++i) data[i * 8] = (unsigned char)file->next, data[i * 8 + 1] = (unsigned char)i;
    PUT(void*, packet, 0, data);
    PUT(void*, packet, 24, data);
    PUT(int32_t, packet, 32, ours && file->again == 3 ? 0 : PACKET_BYTES);
    PUT(int32_t, packet, 36, mine ? ours : 0);
    PUT(int32_t, packet, 40, file->next == knob(file, "corrupt", -1) ? 3 : 1);
    if (!knob(file, "timeless", 0))
        PUT(int64_t, packet, 8, knob(file, "start", 0) + file->next * (int64_t)PACKET_FRAMES / knob(file, "num", 1));
    if (mine && get32(packet, 32) > 0) ++file->next;
    return 0;
}

int av_seek_frame(void* context, int stream, int64_t time, int flags)
{
    File* file = context;
    require(stream == knob(file, "other", 0) && flags == 1, "av_seek_frame");
    if (knob(file, "seek", 0) < 0) {
        ++file->next; /* what was read ahead is gone */
        return knob(file, "seek", 0);
    }
    const int64_t last = knob(file, "packets", 5) - 1, ticks = time - knob(file, "start", 0),
                  packet = ticks * knob(file, "num", 1) / PACKET_FRAMES;
    file->next = (int)((packet < last ? packet : last) + knob(file, "seek", 0));
    file->drained = 1; /* until the decoder is flushed */
    return 0;
}

void avformat_close_input(void** context)
{
    File* file = *context;
    require(!file->opened, "closes the file before the codec");
    free(file);
    *context = NULL;
}
