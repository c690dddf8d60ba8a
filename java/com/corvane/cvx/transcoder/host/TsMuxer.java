package com.corvane.cvx.transcoder.host;

import java.io.IOException;
import java.io.OutputStream;
import java.util.Arrays;

/**
 * Packs one program of H.264 video and AAC audio into an MPEG transport stream, the container of HLS
 * segments. Every segment opens with the program tables, so a player can start at any of them; the
 * continuity counters run on across segments, as they would in one endless live stream. Video goes out as
 * Annex B access units (the library's encoders already open each with a delimiter, as the format asks), one
 * PES each with presentation and decode time and the clock reference; audio as ADTS frames, one PES each.
 * Times are 90 kHz ticks.
 */
final class TsMuxer {
    static final int PACKET_SIZE = 188;
    static final int PID_PMT = 0x1000;
    static final int PID_VIDEO = 0x100;
    static final int PID_AUDIO = 0x101;
    private static final int STREAM_TYPE_H264 = 0x1B;
    private static final int STREAM_TYPE_AAC_ADTS = 0x0F;
    private static final int STREAM_ID_VIDEO = 0xE0;
    private static final int STREAM_ID_AUDIO = 0xC0;
    private static final int ADTS_HEADER = 7;
    /** ADTS counts a frame's length, header included, in 13 bits. */
    static final int MAX_AAC_FRAME = 8191 - ADTS_HEADER;
    private static final int[] CRC_TABLE = new int[256];

    static {
        for (int i = 0; i < 256; i++) {
            int r = i << 24;
            for (int j = 0; j < 8; j++) {
                r = (r & 0x80000000) != 0 ? (r << 1) ^ 0x04C11DB7 : r << 1;
            }
            CRC_TABLE[i] = r;
        }
    }

    private final boolean withAudio;
    private final byte[] packet = new byte[PACKET_SIZE];
    /** One PES being packed: grows to the largest access unit and is reused. */
    private byte[] pes = new byte[1 << 16];
    private int patCounter;
    private int pmtCounter;
    private int videoCounter;
    private int audioCounter;
    /** The ADTS header's fixed third byte and the channel bits of its fourth. */
    private final int adtsProfileRate;
    private final int adtsChannels;

    /** @param audio the AAC stream's format, or null for video alone */
    TsMuxer(AudioFormat audio) {
        withAudio = audio != null;
        if (withAudio) {
            // Object type, rate index and channels, as the AudioSpecificConfig gives them.
            byte[] c = audio.config();
            int objectType = (c[0] & 0xFF) >> 3;
            int rateIndex = ((c[0] & 0x07) << 1) | ((c[1] & 0xFF) >> 7);
            int channels = (c[1] >> 3) & 0x0F;
            adtsProfileRate = ((objectType - 1) << 6) | (rateIndex << 2) | (channels >> 2);
            adtsChannels = (channels & 3) << 6;
        } else {
            adtsProfileRate = 0;
            adtsChannels = 0;
        }
    }

    /** The program association and program map tables: the head of every segment. */
    int tables(OutputStream out) throws IOException {
        byte[] pat = {0x00, (byte) 0xB0, 13, 0x00, 0x01, (byte) 0xC1, 0x00, 0x00, 0x00, 0x01,
            (byte) (0xE0 | (PID_PMT >> 8)), (byte) PID_PMT};
        section(out, 0, patCounter++, pat);
        int streams = withAudio ? 2 : 1;
        byte[] pmt = new byte[12 + 5 * streams];
        int length = pmt.length - 3 + 4;
        int i = 0;
        pmt[i++] = 0x02;
        pmt[i++] = (byte) (0xB0 | (length >> 8));
        pmt[i++] = (byte) length;
        pmt[i++] = 0x00;
        pmt[i++] = 0x01; // program 1
        pmt[i++] = (byte) 0xC1;
        pmt[i++] = 0x00;
        pmt[i++] = 0x00;
        pmt[i++] = (byte) (0xE0 | (PID_VIDEO >> 8)); // the clock reference rides on the video
        pmt[i++] = (byte) PID_VIDEO;
        pmt[i++] = (byte) 0xF0;
        pmt[i++] = 0x00;
        i = stream(pmt, i, STREAM_TYPE_H264, PID_VIDEO);
        if (withAudio) {
            stream(pmt, i, STREAM_TYPE_AAC_ADTS, PID_AUDIO);
        }
        section(out, PID_PMT, pmtCounter++, pmt);
        return 2 * PACKET_SIZE;
    }

    private static int stream(byte[] pmt, int i, int type, int pid) {
        pmt[i] = (byte) type;
        pmt[i + 1] = (byte) (0xE0 | (pid >> 8));
        pmt[i + 2] = (byte) pid;
        pmt[i + 3] = (byte) 0xF0;
        pmt[i + 4] = 0x00;
        return i + 5;
    }

    /** A table in one packet: pointer field, section, its checksum, stuffing. */
    private void section(OutputStream out, int pid, int counter, byte[] section) throws IOException {
        Arrays.fill(packet, (byte) 0xFF);
        packet[0] = 0x47;
        packet[1] = (byte) (0x40 | (pid >> 8));
        packet[2] = (byte) pid;
        packet[3] = (byte) (0x10 | (counter & 0x0F));
        packet[4] = 0;
        System.arraycopy(section, 0, packet, 5, section.length);
        int crc = crc32(section);
        int at = 5 + section.length;
        packet[at] = (byte) (crc >>> 24);
        packet[at + 1] = (byte) (crc >>> 16);
        packet[at + 2] = (byte) (crc >>> 8);
        packet[at + 3] = (byte) crc;
        out.write(packet);
    }

    static int crc32(byte[] bytes) {
        int crc = 0xFFFFFFFF;
        for (byte b : bytes) {
            crc = (crc << 8) ^ CRC_TABLE[((crc >>> 24) ^ b) & 0xFF];
        }
        return crc;
    }

    /**
     * One access unit of length-prefixed NAL units as Annex B: each four-byte length becomes a four-byte
     * start code, so the unit keeps its size. Answers the bytes written.
     */
    int video(OutputStream out, byte[] accessUnit, long pts, long dts, boolean key) throws IOException {
        int header = 19;
        ensure(header + accessUnit.length);
        pes[0] = 0;
        pes[1] = 0;
        pes[2] = 1;
        pes[3] = (byte) STREAM_ID_VIDEO;
        pes[4] = 0; // unbounded: allowed for video, and an access unit may exceed 64 KiB
        pes[5] = 0;
        pes[6] = (byte) 0x80;
        pes[7] = (byte) 0xC0; // presentation and decode time
        pes[8] = 10;
        timestamp(pes, 9, 0x3, pts);
        timestamp(pes, 14, 0x1, dts);
        System.arraycopy(accessUnit, 0, pes, header, accessUnit.length);
        int end = header + accessUnit.length;
        for (int i = header; i + 4 <= end;) {
            int length = ((pes[i] & 0xFF) << 24) | ((pes[i + 1] & 0xFF) << 16) | ((pes[i + 2] & 0xFF) << 8)
                    | (pes[i + 3] & 0xFF);
            if (length < 0 || length > end - i - 4) {
                break; // not length-prefixed: the rest goes as it is
            }
            pes[i] = 0;
            pes[i + 1] = 0;
            pes[i + 2] = 0;
            pes[i + 3] = 1;
            i += 4 + length;
        }
        return packetize(out, PID_VIDEO, end, key, dts);
    }

    /** One raw AAC frame behind its ADTS header. Answers the bytes written. */
    int audio(OutputStream out, byte[] frame, long pts) throws IOException {
        int header = 14;
        int adtsLength = ADTS_HEADER + frame.length;
        int length = header + adtsLength;
        ensure(length);
        pes[0] = 0;
        pes[1] = 0;
        pes[2] = 1;
        pes[3] = (byte) STREAM_ID_AUDIO;
        pes[4] = (byte) ((length - 6) >> 8);
        pes[5] = (byte) (length - 6);
        pes[6] = (byte) 0x80;
        pes[7] = (byte) 0x80; // presentation time only
        pes[8] = 5;
        timestamp(pes, 9, 0x2, pts);
        pes[14] = (byte) 0xFF;
        pes[15] = (byte) 0xF1; // MPEG-4, no checksum
        pes[16] = (byte) adtsProfileRate;
        pes[17] = (byte) (adtsChannels | (adtsLength >> 11));
        pes[18] = (byte) (adtsLength >> 3);
        pes[19] = (byte) (((adtsLength & 7) << 5) | 0x1F); // buffer fullness: variable rate
        pes[20] = (byte) 0xFC;
        System.arraycopy(frame, 0, pes, header + ADTS_HEADER, frame.length);
        return packetize(out, PID_AUDIO, length, false, -1);
    }

    private void ensure(int size) {
        if (pes.length < size) {
            pes = new byte[Math.max(size, pes.length * 2)];
        }
    }

    /** A 33-bit time in the five bytes of a PES header, behind its four-bit prefix. */
    private static void timestamp(byte[] b, int at, int prefix, long t) {
        b[at] = (byte) ((prefix << 4) | (int) (((t >> 30) & 0x07) << 1) | 1);
        b[at + 1] = (byte) (t >> 22);
        b[at + 2] = (byte) ((((t >> 15) & 0x7F) << 1) | 1);
        b[at + 3] = (byte) (t >> 7);
        b[at + 4] = (byte) (((t & 0x7F) << 1) | 1);
    }

    /**
     * Cuts the PES in {@code pes[0, length)} into packets. The first packet of a key frame is marked as a
     * random access point; the first packet of every video PES carries the clock reference (its decode
     * time: players read it only to pace, and a frame is never due before it arrives). The last packet is
     * filled up by an adaptation field.
     */
    private int packetize(OutputStream out, int pid, int length, boolean key, long pcr) throws IOException {
        int written = 0;
        boolean first = true;
        for (int at = 0; at < length;) {
            int remaining = length - at;
            boolean clock = first && pcr >= 0;
            // The adaptation field's size after its length byte, or -1 for none.
            int field = first && (clock || key) ? 1 + (clock ? 6 : 0) : -1;
            int room = 184 - (field >= 0 ? field + 1 : 0);
            if (remaining < room) {
                int stuffing = room - remaining;
                field = field >= 0 ? field + stuffing : stuffing - 1;
                room = remaining;
            }
            int counter = pid == PID_VIDEO ? videoCounter++ : audioCounter++;
            packet[0] = 0x47;
            packet[1] = (byte) ((first ? 0x40 : 0) | (pid >> 8));
            packet[2] = (byte) pid;
            packet[3] = (byte) ((field >= 0 ? 0x30 : 0x10) | (counter & 0x0F));
            int i = 4;
            if (field >= 0) {
                packet[i++] = (byte) field;
                int fieldEnd = i + field;
                if (field > 0) {
                    packet[i++] = (byte) ((first && key ? 0x40 : 0) | (clock ? 0x10 : 0));
                    if (clock) {
                        long base = pcr & 0x1FFFFFFFFL;
                        packet[i++] = (byte) (base >> 25);
                        packet[i++] = (byte) (base >> 17);
                        packet[i++] = (byte) (base >> 9);
                        packet[i++] = (byte) (base >> 1);
                        packet[i++] = (byte) (((base & 1) << 7) | 0x7E);
                        packet[i++] = 0;
                    }
                }
                while (i < fieldEnd) {
                    packet[i++] = (byte) 0xFF;
                }
            }
            System.arraycopy(pes, at, packet, i, room);
            out.write(packet);
            written += PACKET_SIZE;
            at += room;
            first = false;
        }
        return written;
    }
}
