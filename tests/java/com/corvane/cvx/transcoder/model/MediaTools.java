package com.corvane.cvx.transcoder.model;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.InputStream;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.TimeUnit;

/** Fixtures and checks: runs Debian's ffmpeg, writes containers, measures signals. */
public final class MediaTools {
    private MediaTools() {
    }

    public static Path tmpDir() throws IOException {
        Path dir = Path.of(System.getProperty("cvx.test.tmpdir", System.getProperty("java.io.tmpdir")));
        Files.createDirectories(dir);
        return dir;
    }

    /** Runs a command and returns its standard output; fails the test on a nonzero exit. */
    public static byte[] run(String... command) throws IOException, InterruptedException {
        ProcessBuilder builder = new ProcessBuilder(command);
        builder.redirectError(ProcessBuilder.Redirect.DISCARD);
        Process process = builder.start();
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        try (InputStream in = process.getInputStream()) {
            in.transferTo(out);
        }
        if (!process.waitFor(120, TimeUnit.SECONDS) || process.exitValue() != 0) {
            throw new IOException("command failed: " + String.join(" ", command));
        }
        return out.toByteArray();
    }

    /** Decodes any file ffmpeg reads to mono signed 16-bit samples at `rate`. */
    public static short[] decodeToPcm(Path file, int rate) throws IOException, InterruptedException {
        byte[] raw = run("ffmpeg", "-v", "error", "-i", file.toString(), "-f", "s16le", "-ac", "1", "-ar",
                Integer.toString(rate), "-");
        short[] samples = new short[raw.length / 2];
        ByteBuffer.wrap(raw).order(ByteOrder.LITTLE_ENDIAN).asShortBuffer().get(samples);
        return samples;
    }

    static short[] sine(double hz, int rate, int count, double amplitude) {
        short[] out = new short[count];
        for (int i = 0; i < count; i++) {
            out[i] = (short) Math.round(amplitude * Math.sin(2 * Math.PI * hz * i / rate));
        }
        return out;
    }

    /** Frequency from rising zero crossings over the middle half of the signal. */
    public static double dominantFrequency(short[] samples, int rate) {
        int from = samples.length / 4;
        int to = samples.length * 3 / 4;
        int first = -1;
        int last = -1;
        int crossings = 0;
        for (int i = from + 1; i < to; i++) {
            if (samples[i - 1] < 0 && samples[i] >= 0) {
                if (first < 0) {
                    first = i;
                } else {
                    crossings++;
                }
                last = i;
            }
        }
        return crossings == 0 ? 0 : crossings * (double) rate / (last - first);
    }

    /** Writes Vorbis headers and packets into an Ogg file, one packet per page. */
    static void writeOggVorbis(Path file, List<TranscoderPacket> headers, List<TranscoderPacket> packets)
            throws IOException {
        OggWriter writer = new OggWriter(0x43565831);
        for (int i = 0; i < headers.size(); i++) {
            writer.page(headers.get(i).buffer, 0, i == 0, false);
        }
        for (int i = 0; i < packets.size(); i++) {
            // A packet's timecode is where the samples it completes end up: its granule.
            long granule = i + 1 < packets.size() ? packets.get(i + 1).timecode : packets.get(i).timecode;
            writer.page(packets.get(i).buffer, granule, false, i == packets.size() - 1);
        }
        Files.write(file, writer.bytes());
    }

    static final class OggWriter {
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

        private final ByteArrayOutputStream out = new ByteArrayOutputStream();
        private final int serial;
        private int sequence;

        OggWriter(int serial) {
            this.serial = serial;
        }

        void page(byte[] packet, long granule, boolean first, boolean last) {
            List<Integer> lacing = new ArrayList<>();
            int left = packet.length;
            while (left >= 255) {
                lacing.add(255);
                left -= 255;
            }
            lacing.add(left);
            ByteBuffer header = ByteBuffer.allocate(27 + lacing.size()).order(ByteOrder.LITTLE_ENDIAN);
            header.put("OggS".getBytes()).put((byte) 0).put((byte) ((first ? 2 : 0) | (last ? 4 : 0)));
            header.putLong(granule).putInt(serial).putInt(sequence++).putInt(0).put((byte) lacing.size());
            for (int l : lacing) {
                header.put((byte) l);
            }
            byte[] page = new byte[header.capacity() + packet.length];
            System.arraycopy(header.array(), 0, page, 0, header.capacity());
            System.arraycopy(packet, 0, page, header.capacity(), packet.length);
            int crc = 0;
            for (byte b : page) {
                crc = (crc << 8) ^ CRC[((crc >>> 24) & 0xFF) ^ (b & 0xFF)];
            }
            ByteBuffer.wrap(page, 22, 4).order(ByteOrder.LITTLE_ENDIAN).putInt(crc);
            out.writeBytes(page);
        }

        byte[] bytes() {
            return out.toByteArray();
        }
    }
}
