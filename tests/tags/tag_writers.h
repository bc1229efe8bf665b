// Tagged files of every format, written by other programs (ffmpeg, mutagen) into the current folder.
#pragma once

namespace tesk {

inline const char* const kWriteByFfmpeg = R"sh(
put() { ffmpeg -v error -y -f lavfi -i sine=d=0.1 -metadata title='Préludes ♪ №1' -metadata artist='Måns Ölund' \
  -metadata album='Álbum 한' -metadata genre=Baroque -metadata date=2019 -metadata track=3/12 \
  -metadata comment="$(printf 'two\nlines')" -metadata REPLAYGAIN_TRACK_GAIN='-6.50 dB' \
  -metadata replaygain_track_peak=0.5 -metadata replaygain_album_gain=+1,25 "$@"; }
put info.wav && put -rf64 always -f wav info.rf64 && put -write_id3v2 1 id3.aiff && put f.flac && put f.mp3 &&
put -write_id3v2 1 -id3v2_version 3 v3.aiff && put -id3v2_version 3 v3.mp3 && put f.tta && put f.wv && put f.caf &&
put -c:a libopus f.opus && put -c:a libvorbis f.ogg && put -c:a flac flac.oga && put -c:a libspeex -ar 32000 f.spx &&
put -c:a alac f.m4a && put -c:a alac cover.m4a)sh";

/// Adds tags to what the first script left, to bare files, and to DSF and DSDIFF files without samples.
inline const char* const kWriteByMutagen = R"sh(cat >mutate.py <<'END'
import base64, struct
from mutagen import id3, apev2, wave, aiff, trueaudio, dsf, dsdiff, mp4, oggopus, oggvorbis, flac
T, A, L, C = 'Préludes ♪ №1', 'Måns Ölund', 'Álbum 한', 'two\nlines'
png = b'\x89PNG\r\n\x1a\n\0\xff\xe0\0\3'
gains = dict(REPLAYGAIN_TRACK_GAIN='-6.50 dB', replaygain_track_peak='0.5', Replaygain_Album_Gain='+1,25')

def frames(tag, encoding=3):
    for name, text in (('TIT2', T), ('TPE1', A), ('TALB', L), ('TCON', '(%d)' % id3.TCON.GENRES.index('Baroque')), ('TDRC', '2019'), ('TRCK', '3/12')):
        tag.add(getattr(id3, name)(encoding=encoding, text=text))
    tag.add(id3.COMM(encoding=encoding, lang='eng', desc='iTunNORM', text='0001'))
    tag.add(id3.COMM(encoding=encoding, lang='eng', desc='', text=C))
    for name, text in gains.items(): tag.add(id3.TXXX(encoding=encoding, desc=name, text=text))
    tag.add(id3.APIC(encoding=encoding, mime='image/gif', type=2, desc='x', data=b'GIF89a'))
    tag.add(id3.APIC(encoding=encoding, mime='image/png', type=3, desc='ü', data=png))

def ape(path):
    tag = apev2.APEv2()
    tag.update({'Title': T, 'Artist': [A, 'Second'], 'Album': L, 'Genre': 'Baroque', 'Year': '2019', 'Track': '3/12',
                'Comment': C, **gains})
    tag['Cover Art (Back)'] = apev2.APEValue(b'back.gif\0GIF89a', apev2.BINARY)
    tag['Cover Art (Front)'] = apev2.APEValue(b'front.png\0' + png, apev2.BINARY)
    tag.save(path)

def picture():
    p = flac.Picture()
    p.type, p.mime, p.desc, p.data = 3, 'image/png', 'ü', png
    return p

def copy(name, to):
    open(to, 'wb').write(open(name, 'rb').read()); return to

def edited(kind, name, to, *args, **save):
    f = kind(copy(name, to))
    if f.tags is None: f.add_tags()
    frames(f.tags, *args); f.save(**save)

edited(wave.WAVE, 'bare.wav', 'id3.wav')
edited(aiff.AIFF, 'bare.aiff', 'utf16.aiff', 1, v2_version=3)
edited(trueaudio.TrueAudio, 'bare.tta', 'id3.tta')
open('bare.dsf', 'wb').write(b'DSD ' + struct.pack('<QQQ', 28, 92, 0) + b'fmt ' +
    struct.pack('<QIIIIIIQII', 52, 1, 0, 1, 1, 2822400, 1, 0, 4096, 0) + b'data' + struct.pack('<Q', 12))
edited(dsf.DSF, 'bare.dsf', 'f.dsf')
chunk = lambda name, data: name + struct.pack('>Q', len(data)) + data + b'\0' * (len(data) % 2)
prop = chunk(b'PROP', b'SND ' + chunk(b'FS  ', struct.pack('>I', 2822400)) + chunk(b'CHNL', b'\0\1C   ') +
             chunk(b'CMPR', b'DSD \x0enot compressed'))
text = lambda name, t: chunk(name, struct.pack('>I', len(t.encode())) + t.encode() + b'\0' * (len(t.encode()) % 2))
comment = lambda kind, t: struct.pack('>HBBBBHHI', 2019, 1, 1, 0, 0, kind, 0, len(t)) + t + b'\0' * (len(t) % 2)
form = lambda body: chunk(b'FRM8', b'DSD ' + chunk(b'FVER', b'\1\5\0\0') + prop + chunk(b'DSD ', b'i' * 7) + body)
open('bare.dff', 'wb').write(form(b''))
edited(dsdiff.DSDIFF, 'bare.dff', 'id3.dff')
open('diin.dff', 'wb').write(form(chunk(b'DIIN', text(b'DITI', T) + text(b'DIAR', A)) +
    chunk(b'COMT', b'\0\3' + comment(3, b'odd') + comment(0, C.encode()) + comment(0, b'no'))))
for name in 'wv', 'tta': ape(copy('bare.' + name, 'ape.' + name))
open('f.ape', 'wb').write(b'MAC \x96\x0f' + b'\0' * 70); ape('f.ape')
m = mp4.MP4('cover.m4a')
m['covr'] = [mp4.MP4Cover(png, mp4.AtomDataType.PNG), mp4.MP4Cover(b'GIF89a')]
for name, value in gains.items(): m['----:com.apple.iTunes:' + name] = value.encode()
m.save()
for kind, name in ((oggopus.OggOpus, 'f.opus'), (oggvorbis.OggVorbis, 'f.ogg')):
    f = kind(copy(name, 'cover.' + name[2:]))
    f['metadata_block_picture'] = base64.b64encode(picture().write()).decode(); f.save()
f = flac.FLAC(copy('f.flac', 'cover.flac')); f.add_picture(picture()); f.save()

def tag(name, *frames):
    t = id3.ID3()
    for frame in frames: t.add(frame)
    t.save(name, v1=0)

tag('tag.id3', id3.TIT2(text='id3'))
bare = open('tag.id3', 'rb').read()
w = wave.WAVE(copy('info.wav', 'both.wav')); w.add_tags(); w.tags.add(id3.TIT2(text='id3')); w.save()
open('behind.rf64', 'wb').write(open('info.rf64', 'rb').read() + b'id3 ' + struct.pack('<I', len(bare)) + bare)
tag(copy('bare.mp3', 'three.mp3'), id3.TIT2(text='id3'))
t = apev2.APEv2(); t.update({'Title': 'ape', 'Artist': 'ape', 'Description': 'ape'}); t.save('three.mp3')
v1 = (b'v1', b'v1 artist ', b'v\xe9', b'1999', b'c')
open('three.mp3', 'ab').write(struct.pack('3s30s30s30s4s29sBB', b'TAG', *v1, 7, 17))
tag(copy('bare.mp3', 'rva2.mp3'), id3.RVA2(desc='track', channel=1, gain=-3.5, peak=0.75),
    id3.RVA2(desc='album', channel=1, gain=2, peak=0), id3.TXXX(desc='replaygain_album_gain', text='1 dB'))
open('genres', 'w').write('\n'.join(id3.TCON.GENRES[:192]).replace('Alt. R', 'Alternative R').replace('Dance H', 'Danceh'))
END
for x in wav aiff tta wv mp3; do ffmpeg -v error -y -f lavfi -i sine=d=0.1 -fflags +bitexact bare.$x || exit 1; done
/usr/bin/python3 mutate.py)sh";

} // namespace tesk
