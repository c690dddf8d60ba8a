package com.corvane.cvx.transcoder.model;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

/** Compressed audio fixtures cut into the packets a host hands over, and ADTS for AAC output. */
final class AudioFixtures {
    static final int[] AAC_RATES = {96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025,
        8000, 7350};

    private AudioFixtures() {
    }

    /** A 440 Hz sine encoded by ffmpeg with `codecArgs` (which end in "-f <format>"), as bytes. */
    static byte[] encodeSine(int rate, int channels, double seconds, String... codecArgs)
            throws IOException, InterruptedException {
        List<String> command = new ArrayList<>(List.of("ffmpeg", "-v", "error", "-f", "lavfi", "-i",
                "sine=frequency=440:sample_rate=" + rate + ":duration=" + seconds, "-ac", Integer.toString(channels)));
        command.addAll(Arrays.asList(codecArgs));
        command.add("-");
        return MediaTools.run(command.toArray(new String[0]));
    }

    /** Raw access units of an ADTS stream. */
    static List<byte[]> adtsUnits(byte[] bytes) {
        List<byte[]> units = new ArrayList<>();
        int at = 0;
        while (at + 7 <= bytes.length) {
            int length = ((bytes[at + 3] & 3) << 11) | ((bytes[at + 4] & 0xFF) << 3) | ((bytes[at + 5] & 0xFF) >> 5);
            int header = (bytes[at + 1] & 1) != 0 ? 7 : 9;
            if ((bytes[at] & 0xFF) != 0xFF || length < header || at + length > bytes.length) {
                break;
            }
            units.add(Arrays.copyOfRange(bytes, at + header, at + length));
            at += length;
        }
        return units;
    }

    /** The AudioSpecificConfig a host reads from its container: AAC LC, rate index, channel configuration. */
    static byte[] audioSpecificConfig(int rate, int channels) {
        int index = rateIndex(rate);
        return new byte[] {(byte) ((2 << 3) | (index >> 1)), (byte) (((index & 1) << 7) | (channels << 3))};
    }

    static int rateIndex(int rate) {
        for (int i = 0; i < AAC_RATES.length; i++) {
            if (AAC_RATES[i] == rate) {
                return i;
            }
        }
        throw new IllegalArgumentException("no AAC rate: " + rate);
    }

    private static final int[][] MPEG_KBPS = {
        {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
        {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
        {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
        {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
        {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160}};
    private static final int[][] MPEG_RATES = {{11025, 12000, 8000}, {0, 0, 0}, {22050, 24000, 16000},
        {44100, 48000, 32000}};

    /** Whole frames of an MPEG audio stream (no free format). */
    static List<byte[]> mpegFrames(byte[] bytes) {
        List<byte[]> frames = new ArrayList<>();
        int at = 0;
        while (at + 4 <= bytes.length) {
            int b1 = bytes[at + 1] & 0xFF;
            int b2 = bytes[at + 2] & 0xFF;
            int version = (b1 >> 3) & 3;
            int layer = 4 - ((b1 >> 1) & 3);
            int bitrateIndex = b2 >> 4;
            int rateIndex = (b2 >> 2) & 3;
            if ((bytes[at] & 0xFF) != 0xFF || (b1 & 0xE0) != 0xE0 || version == 1 || layer == 4 || bitrateIndex == 0
                    || bitrateIndex == 15 || rateIndex == 3) {
                at++;
                continue;
            }
            boolean mpeg1 = version == 3;
            int row = mpeg1 ? layer - 1 : (layer == 1 ? 3 : 4);
            int bitrate = MPEG_KBPS[row][bitrateIndex] * 1000;
            int rate = MPEG_RATES[version][rateIndex];
            int padding = (b2 >> 1) & 1;
            int size = layer == 1 ? (12 * bitrate / rate + padding) * 4
                    : (layer == 3 && !mpeg1 ? 72 : 144) * bitrate / rate + padding;
            if (at + size > bytes.length) {
                break;
            }
            frames.add(Arrays.copyOfRange(bytes, at, at + size));
            at += size;
        }
        return frames;
    }

    /** Packets of an Ogg stream after the first `skip` (a codec's headers). */
    static List<byte[]> oggPackets(byte[] bytes, int skip) {
        List<byte[]> packets = new ArrayList<>();
        ByteArrayOutputStream current = new ByteArrayOutputStream();
        int at = 0;
        int seen = 0;
        while (at + 27 <= bytes.length && bytes[at] == 'O' && bytes[at + 1] == 'g') {
            int segments = bytes[at + 26] & 0xFF;
            int body = at + 27 + segments;
            for (int s = 0; s < segments; s++) {
                int lace = bytes[at + 27 + s] & 0xFF;
                current.write(bytes, body, lace);
                body += lace;
                if (lace < 255) {
                    if (seen++ >= skip) {
                        packets.add(current.toByteArray());
                    }
                    current.reset();
                }
            }
            at = body;
        }
        return packets;
    }

    /** Writes raw AAC LC units as an ADTS file. */
    static void writeAdts(Path file, List<TranscoderPacket> packets, int rate, int channels) throws IOException {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        int index = rateIndex(rate);
        for (TranscoderPacket p : packets) {
            int length = p.buffer.length + 7;
            out.write(0xFF);
            out.write(0xF1);
            out.write((1 << 6) | (index << 2) | (channels >> 2));
            out.write(((channels & 3) << 6) | (length >> 11));
            out.write((length >> 3) & 0xFF);
            out.write(((length & 7) << 5) | 0x1F);
            out.write(0xFC);
            out.write(p.buffer);
        }
        Files.write(file, out.toByteArray());
    }
}
