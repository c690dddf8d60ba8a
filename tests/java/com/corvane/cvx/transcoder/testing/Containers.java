package com.corvane.cvx.transcoder.testing;

import static org.junit.jupiter.api.Assertions.assertTrue;

import com.corvane.cvx.transcoder.host.FlvReader;

import java.io.*;
import java.nio.*;
import java.nio.file.Path;
import java.util.*;

/** The byte formats of the tests: compressed input cut into what a host hands over, and output made playable. */
public final class Containers {
    private Containers() {
    }

    /** One compressed frame as a host hands it over (frame type 1 key, 2 inter, 3 bidirectional). */
    public record Frame(byte[] data, long timecode, int frameType) {
    }

    /** A demuxed stream: its configuration (null when the format has none) and its frames in decode order. */
    public record Source(byte[] config, List<Frame> frames) {
        public TreeSet<Long> times() {
            return select(false);
        }

        public TreeSet<Long> keys() {
            return select(true);
        }

        private TreeSet<Long> select(boolean keysOnly) {
            TreeSet<Long> out = new TreeSet<>();
            frames.stream().filter(f -> !keysOnly || f.frameType() == 1).forEach(f -> out.add(f.timecode()));
            return out;
        }
    }

    /** The video (or audio) track of an FLV file; video frames stand at their presentation times. */
    public static Source flv(Path file, boolean video) throws IOException {
        byte[] config = null;
        List<Frame> frames = new ArrayList<>();
        try (FlvReader reader = new FlvReader(file)) {
            for (FlvReader.Tag tag = reader.next(); tag != null; tag = reader.next()) {
                if ((tag.type == FlvReader.TAG_VIDEO) != video) {
                    continue;
                }
                if (tag.config) {
                    config = tag.data;
                } else {
                    frames.add(new Frame(tag.data, video ? tag.presentationTime() : tag.timestamp, tag.frameType));
                }
            }
        }
        return new Source(config, frames);
    }

    static int startCodeAt(byte[] d, int i) {
        return i + 3 < d.length && d[i] == 0 && d[i + 1] == 0 && d[i + 2] == 1 ? d[i + 3] & 0xFF : -1;
    }

    /** An MPEG-2 or MPEG-4 part 2 stream cut at each picture (or its headers); what precedes is the configuration. */
    public static Source mpegVideo(byte[] d, boolean mpeg2) {
        int pictureCode = mpeg2 ? 0x00 : 0xB6;
        Set<Integer> headers = mpeg2 ? Set.of(0xB3, 0xB8) : Set.of(0xB3);
        List<Integer> starts = new ArrayList<>();
        int pending = -1;
        for (int i = 0; i + 3 < d.length; i++) {
            int code = startCodeAt(d, i);
            if (code == pictureCode) {
                starts.add(pending >= 0 ? pending : i);
                pending = -1;
            } else if (i > 0 && headers.contains(code) && pending < 0) {
                pending = i;
            }
        }
        List<Frame> frames = new ArrayList<>();
        for (int f = 0; f < starts.size(); f++) {
            int p = starts.get(f);
            while (startCodeAt(d, p) != pictureCode) {
                p++;
            }
            // MPEG-2: picture_coding_type after the 10-bit temporal reference; MPEG-4: vop_coding_type.
            int coding = mpeg2 ? ((d[p + 5] & 0xFF) >> 3) & 7 : ((d[p + 4] & 0xFF) >> 6) + 1;
            frames.add(new Frame(slice(d, starts, f), f * 40L, coding == 1 ? 1 : coding == 3 ? 3 : 2));
        }
        return new Source(Arrays.copyOfRange(d, 0, starts.get(0)), frames);
    }

    /** H.263: every byte-aligned picture start code begins a frame; no configuration. */
    public static Source h263(byte[] d) {
        List<Integer> starts = new ArrayList<>();
        for (int i = 0; i + 4 < d.length; i++) {
            if (d[i] == 0 && d[i + 1] == 0 && (d[i + 2] & 0xFC) == 0x80) {
                starts.add(i);
            }
        }
        List<Frame> frames = new ArrayList<>();
        for (int f = 0; f < starts.size(); f++) {
            boolean inter = ((d[starts.get(f) + 4] >> 1) & 1) != 0; // PTYPE bit 9
            frames.add(new Frame(slice(d, starts, f), f * 40L, inter ? 2 : 1));
        }
        return new Source(null, frames);
    }

    private static byte[] slice(byte[] d, List<Integer> starts, int f) {
        return Arrays.copyOfRange(d, starts.get(f), f + 1 < starts.size() ? starts.get(f + 1) : d.length);
    }

    /** The SPS and PPS of an H.264 configuration record as length-prefixed units, as they travel in band. */
    public static byte[] inBandParameterSets(byte[] record) {
        int spsLength = ((record[6] & 0xFF) << 8) | (record[7] & 0xFF);
        int ppsAt = 8 + spsLength + 1;
        int ppsLength = ((record[ppsAt] & 0xFF) << 8) | (record[ppsAt + 1] & 0xFF);
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        out.writeBytes(new byte[] {0, 0, (byte) (spsLength >> 8), (byte) spsLength});
        out.write(record, 8, spsLength);
        out.writeBytes(new byte[] {0, 0, (byte) (ppsLength >> 8), (byte) ppsLength});
        out.write(record, ppsAt + 2, ppsLength);
        return out.toByteArray();
    }

    /** Length-prefixed H.264 access units as a start-code stream; fails on a prefix that does not walk the unit. */
    public static byte[] annexB(List<byte[]> units) {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        for (byte[] b : units) {
            for (int at = 0; at < b.length; ) {
                int n = at + 4 <= b.length ? ByteBuffer.wrap(b, at, 4).getInt() : -1;
                assertTrue(n > 0 && at + 4 + n <= b.length, "unit length " + n + " at " + at);
                out.writeBytes(new byte[] {0, 0, 0, 1});
                out.write(b, at + 4, n);
                at += 4 + n;
            }
        }
        return out.toByteArray();
    }

    /** VP8 frames in display order as an IVF file. */
    public static byte[] ivf(int width, int height, List<byte[]> frames) {
        ByteBuffer out = ByteBuffer.allocate(32 + frames.stream().mapToInt(f -> 12 + f.length).sum())
                .order(ByteOrder.LITTLE_ENDIAN);
        out.put("DKIF".getBytes()).putShort((short) 0).putShort((short) 32).put("VP80".getBytes())
                .putShort((short) width).putShort((short) height).putInt(25).putInt(1).putInt(frames.size()).putInt(0);
        for (int i = 0; i < frames.size(); i++) {
            out.putInt(frames.get(i).length).putLong(i).put(frames.get(i));
        }
        return out.array();
    }

    /** Raw AAC LC units behind ADTS headers. */
    public static byte[] adts(List<byte[]> units, int rate, int channels) {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        int index = List.of(96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000)
                .indexOf(rate);
        for (byte[] unit : units) {
            int length = unit.length + 7;
            out.writeBytes(new byte[] {(byte) 0xFF, (byte) 0xF1, (byte) ((1 << 6) | (index << 2) | (channels >> 2)),
                (byte) (((channels & 3) << 6) | (length >> 11)), (byte) (length >> 3),
                (byte) (((length & 7) << 5) | 0x1F), (byte) 0xFC});
            out.writeBytes(unit);
        }
        return out.toByteArray();
    }

    private static final int[] CRC = new int[256];

    static {
        for (int i = 0; i < 256; i++) {
            int r = i << 24;
            for (int j = 0; j < 8; j++) {
                r = (r & 0x80000000) != 0 ? (r << 1) ^ 0x04C11DB7 : r << 1;
            }
            CRC[i] = r;
        }
    }

    /** Vorbis as Ogg, a packet a page; each page's granule is the position of the packet after it. */
    public static byte[] oggVorbis(List<byte[]> headers, List<byte[]> packets, long[] positions) {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        int pages = headers.size() + packets.size();
        for (int n = 0; n < pages; n++) {
            int i = n - headers.size();
            byte[] packet = i < 0 ? headers.get(n) : packets.get(i);
            long granule = i < 0 ? 0 : positions[Math.min(i + 1, packets.size() - 1)];
            int lacing = packet.length / 255 + 1;
            ByteBuffer page = ByteBuffer.allocate(27 + lacing + packet.length).order(ByteOrder.LITTLE_ENDIAN);
            page.put("OggS".getBytes()).put((byte) 0).put((byte) ((n == 0 ? 2 : 0) | (n == pages - 1 ? 4 : 0)));
            page.putLong(granule).putInt(0x43565831).putInt(n).putInt(0).put((byte) lacing);
            for (int l = 0; l < lacing; l++) {
                page.put((byte) (l + 1 < lacing ? 255 : packet.length % 255));
            }
            page.put(packet);
            int crc = 0;
            for (byte b : page.array()) {
                crc = (crc << 8) ^ CRC[((crc >>> 24) & 0xFF) ^ (b & 0xFF)];
            }
            page.putInt(22, crc);
            out.writeBytes(page.array());
        }
        return out.toByteArray();
    }

    /** The description packet that opens a G.711 stream: a byte, then rate and channels big-endian. */
    public static byte[] g711Description(int rate, int channels) {
        return ByteBuffer.allocate(9).put((byte) 0).putInt(rate).putInt(channels).array();
    }
}
