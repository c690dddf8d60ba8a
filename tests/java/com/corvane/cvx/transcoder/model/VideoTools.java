package com.corvane.cvx.transcoder.model;

import com.corvane.cvx.transcoder.host.FlvReader;

import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

/** Video fixtures and checks for the tests: FLV input, IVF output, raw frames and PSNR. */
final class VideoTools {
    private VideoTools() {
    }

    /** The H.264 stream of an FLV file: its configuration record and its frames in decode order. */
    static final class Clip {
        byte[] config;
        final List<FlvReader.Tag> frames = new ArrayList<>();
    }

    static Clip readFlv(Path file) throws IOException {
        Clip clip = new Clip();
        try (FlvReader reader = new FlvReader(file)) {
            for (FlvReader.Tag tag = reader.next(); tag != null; tag = reader.next()) {
                if (tag.type != FlvReader.TAG_VIDEO) {
                    continue;
                }
                if (tag.config) {
                    clip.config = tag.data;
                } else {
                    clip.frames.add(tag);
                }
            }
        }
        return clip;
    }

    /** Makes an H.264 FLV clip with B-frames from ffmpeg's test pattern, once per path. */
    static Path h264Clip(String name, int width, int height, int frames) throws Exception {
        Path file = MediaTools.tmpDir().resolve(name);
        if (!Files.exists(file)) {
            MediaTools.run("ffmpeg", "-y", "-v", "error", "-f", "lavfi", "-i",
                    "testsrc2=size=" + width + "x" + height + ":rate=25", "-frames:v", Integer.toString(frames),
                    "-c:v", "libx264", "-preset", "veryfast", "-bf", "2", "-g", "25", "-pix_fmt", "yuv420p",
                    "-f", "flv", file.toString());
        }
        return file;
    }

    static void writeIvf(Path file, int width, int height, List<TranscoderPacket> packets) throws IOException {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        ByteBuffer header = ByteBuffer.allocate(32).order(ByteOrder.LITTLE_ENDIAN);
        header.put("DKIF".getBytes()).putShort((short) 0).putShort((short) 32).put("VP80".getBytes());
        header.putShort((short) width).putShort((short) height).putInt(1000).putInt(1).putInt(packets.size())
                .putInt(0);
        out.writeBytes(header.array());
        for (TranscoderPacket p : packets) {
            ByteBuffer frame = ByteBuffer.allocate(12).order(ByteOrder.LITTLE_ENDIAN);
            frame.putInt(p.buffer.length).putLong(p.timecode);
            out.writeBytes(frame.array());
            out.writeBytes(p.buffer);
        }
        Files.write(file, out.toByteArray());
    }

    /** Decodes a file to raw 4:2:0 frames, optionally through a filter. */
    static byte[] rawFrames(Path file, String filter) throws Exception {
        List<String> command = new ArrayList<>(List.of("ffmpeg", "-v", "error", "-i", file.toString()));
        if (filter != null) {
            command.addAll(List.of("-vf", filter));
        }
        // Passthrough: one output frame per decoded frame, whatever the timestamps.
        command.addAll(List.of("-fps_mode", "passthrough", "-f", "rawvideo", "-pix_fmt", "yuv420p", "-"));
        return MediaTools.run(command.toArray(new String[0]));
    }

    /** PSNR per plane (Y, U, V) over the first `frames` frames of two raw 4:2:0 sequences. */
    static double[] psnr(byte[] a, byte[] b, int width, int height, int frames) {
        int lumaSize = width * height;
        int chromaSize = (width / 2) * (height / 2);
        int frameSize = lumaSize + 2 * chromaSize;
        double[] squared = new double[3];
        long[] counts = new long[3];
        for (int f = 0; f < frames; f++) {
            int base = f * frameSize;
            for (int i = 0; i < frameSize; i++) {
                int plane = i < lumaSize ? 0 : i < lumaSize + chromaSize ? 1 : 2;
                double d = (a[base + i] & 0xFF) - (b[base + i] & 0xFF);
                squared[plane] += d * d;
                counts[plane]++;
            }
        }
        double[] out = new double[3];
        for (int p = 0; p < 3; p++) {
            double mse = squared[p] / counts[p];
            out[p] = mse == 0 ? 99 : 10 * Math.log10(255.0 * 255.0 / mse);
        }
        return out;
    }

    /** Mean of B, G and R over a BGRA picture. */
    static double[] meanBgr(byte[] bgra) {
        double[] sums = new double[3];
        for (int i = 0; i + 3 < bgra.length; i += 4) {
            for (int c = 0; c < 3; c++) {
                sums[c] += bgra[i + c] & 0xFF;
            }
        }
        int pixels = bgra.length / 4;
        return new double[] {sums[0] / pixels, sums[1] / pixels, sums[2] / pixels};
    }
}
