import com.corvane.cvx.transcoder.host.FlvReader;
import com.corvane.cvx.transcoder.model.TranscoderLogStatement;
import com.corvane.cvx.transcoder.model.TranscoderLongByReference;
import com.corvane.cvx.transcoder.model.TranscoderOverlayFrame;
import com.corvane.cvx.transcoder.model.TranscoderPacket;
import com.corvane.cvx.transcoder.model.TranscoderSessionNative;

import java.io.IOException;
import java.io.PrintWriter;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

/**
 * Soak through the exports, with the process's RSS read from /proc/self/status:
 *   cycles N CSV FLV          N full session lives (H.264 decoder, a VP8 and an H.264 rendition with
 *                             overlays, AAC decoder into AAC and Vorbis encoders, a few frames each)
 *   stream MINUTES CSV FLV [realtime]   one session fed the looping clip for MINUTES of stream time
 * Run with a fixed, pre-touched Java heap, so that what grows is native memory.
 */
public final class SessionSoakBench {
    static final TranscoderSessionNative LIB = new TranscoderSessionNative();

    private SessionSoakBench() {
    }

    static long rssKiB() throws IOException {
        for (String line : Files.readAllLines(Path.of("/proc/self/status"))) {
            if (line.startsWith("VmRSS:")) {
                return Long.parseLong(line.replaceAll("[^0-9]", ""));
            }
        }
        return -1;
    }

    /** The clip's H.264 and AAC configurations and frames. */
    static final class Clip {
        byte[] videoConfig;
        byte[] audioConfig;
        final List<FlvReader.Tag> video = new ArrayList<>();
        final List<FlvReader.Tag> audio = new ArrayList<>();
        long durationMs;

        static Clip read(Path file) throws IOException {
            Clip clip = new Clip();
            try (FlvReader reader = new FlvReader(file)) {
                for (FlvReader.Tag tag = reader.next(); tag != null; tag = reader.next()) {
                    boolean video = tag.type == FlvReader.TAG_VIDEO;
                    if (tag.config) {
                        if (video) {
                            clip.videoConfig = tag.data;
                        } else {
                            clip.audioConfig = tag.data;
                        }
                    } else {
                        (video ? clip.video : clip.audio).add(tag);
                        clip.durationMs = Math.max(clip.durationMs, tag.timestamp + 40);
                    }
                }
            }
            return clip;
        }
    }

    static TranscoderOverlayFrame overlay(int side, int alpha) {
        TranscoderOverlayFrame o = new TranscoderOverlayFrame();
        o.width = side;
        o.height = side;
        o.stride = side * 4L;
        o.bytes = new byte[side * side * 4];
        for (int i = 0; i < o.bytes.length; i += 4) {
            o.bytes[i + 2] = (byte) 220;
            o.bytes[i + 3] = (byte) alpha;
        }
        o.dstWidth = side;
        o.dstHeight = side;
        o.dstAlign = TranscoderOverlayFrame.ALIGN_RIGHT | TranscoderOverlayFrame.ALIGN_BOTTOM;
        return o;
    }

    /** One session built as a media server builds it; every status must be 0. */
    static final class Session implements AutoCloseable {
        final long handle = LIB.createInstance();
        final List<TranscoderPacket> packets = new ArrayList<>();
        final List<TranscoderLogStatement> log = new ArrayList<>();
        final TranscoderLongByReference flags = new TranscoderLongByReference();
        long videoPackets;
        long audioPackets;

        static void ok(String call, long status) {
            if (status != 0) {
                throw new IllegalStateException(call + " answered " + status);
            }
        }

        Session(Clip clip) {
            ok("createInstance", handle == 0 ? -1 : 0);
            ok("videoDecoderCreate", LIB.videoDecoderCreate(handle, 7, 0));
            ok("videoDecoderBuffersCreate", LIB.videoDecoderBuffersCreate(handle, 1));
            ok("videoDecoderInitialize", LIB.videoDecoderInitialize(handle));
            ok("videoEncoderBufferSetsCreate", LIB.videoEncoderBufferSetsCreate(handle, 1));
            long[][] renditions = {{8, 128, 96, 1}, {7, 96, 72, 1}};
            TranscoderLongByReference index = new TranscoderLongByReference();
            for (long[] r : renditions) {
                ok("videoEncoderBufferAdd", LIB.videoEncoderBufferAdd(handle, r[1], r[2], r[3], index));
                ok("videoEncoderAdd", LIB.videoEncoderAdd(handle, r[0], 0, index));
                ok("videoEncoderSetDefaults", LIB.videoEncoderSetDefaults(handle, index.value, 0, 0));
                ok("videoEncoderSetFrameSize", LIB.videoEncoderSetFrameSize(handle, index.value, r[1], r[2]));
                ok("videoEncoderSetFrameRate", LIB.videoEncoderSetFrameRate(handle, index.value, 25.0));
                ok("videoEncoderSetBitrate", LIB.videoEncoderSetBitrate(handle, index.value, 400_000));
                ok("videoEncoderInitialize", LIB.videoEncoderInitialize(handle, index.value));
            }
            setOverlays(0);
            ok("videoDecoderDecodeCodecConfig",
                    LIB.videoDecoderDecodeCodecConfig(handle, clip.videoConfig, 0, clip.videoConfig.length));

            ok("audioDecoderCreate", LIB.audioDecoderCreate(handle, 10, 0));
            ok("audioDecoderInitialize", LIB.audioDecoderInitialize(handle));
            ok("audioDecoderDecodeCodecConfig",
                    LIB.audioDecoderDecodeCodecConfig(handle, clip.audioConfig, 0, clip.audioConfig.length));
            for (int i = 0; LIB.audioDecoderIsFirstFrameDecoded(handle) != 1 && i < clip.audio.size(); i++) {
                byte[] first = clip.audio.get(i).data;
                ok("audioDecoderDecodeFirstFrame", LIB.audioDecoderDecodeFirstFrame(handle, first, 0, first.length));
            }
            TranscoderLongByReference rate = new TranscoderLongByReference();
            TranscoderLongByReference channels = new TranscoderLongByReference();
            ok("audioDecoderGetSampleRate", LIB.audioDecoderGetSampleRate(handle, rate));
            ok("audioDecoderGetChannels", LIB.audioDecoderGetChannels(handle, channels));
            ok("audioDecoderBuffersCreate", LIB.audioDecoderBuffersCreate(handle, 1));
            ok("audioDecoderBuffersAllocate",
                    LIB.audioDecoderBuffersAllocate(handle, 2048, channels.value, rate.value));
            for (long codec : new long[] {10, 9}) {
                ok("audioEncoderAdd", LIB.audioEncoderAdd(handle, codec, 0, index));
                ok("audioEncoderSetSampleRate", LIB.audioEncoderSetSampleRate(handle, index.value, rate.value));
                ok("audioEncoderSetChannels", LIB.audioEncoderSetChannels(handle, index.value, channels.value));
                ok("audioEncoderSetBitrate", LIB.audioEncoderSetBitrate(handle, index.value, 96_000));
                ok("audioEncoderInitialize", LIB.audioEncoderInitialize(handle, index.value));
                packets.clear();
                ok("audioEncoderGetHeaders", LIB.audioEncoderGetHeaders(handle, index.value, packets));
            }
        }

        /** Decoder overlay and rendition overlay; every third call removes them instead. */
        void setOverlays(int round) {
            boolean remove = round % 3 == 2;
            ok("videoDecoderBufferSetOverlayVideoFrame",
                    LIB.videoDecoderBufferSetOverlayVideoFrame(handle, 1, remove ? null : overlay(16, 160)));
            ok("videoEncoderBufferSetOverlayVideoFrame",
                    LIB.videoEncoderBufferSetOverlayVideoFrame(handle, 1, 1, remove ? null : overlay(24, 255)));
        }

        void video(FlvReader.Tag frame, long time) {
            ok("videoDecoderAddFrame", LIB.videoDecoderAddFrame(handle, frame.data, 0, frame.data.length, time,
                    frame.frameType));
            do {
                ok("videoDecoderDecode", LIB.videoDecoderDecode(handle, 0, flags));
                if ((flags.value & 4) != 0 && (flags.value & 8) == 0) {
                    ok("videoDecoderTransferFrame", LIB.videoDecoderTransferFrame(handle, 0, 0));
                    for (int e = 0; e < 2; e++) {
                        ok("videoEncoderAddFrame", LIB.videoEncoderAddFrame(handle, e, 0, e, 0));
                        packets.clear();
                        ok("videoEncoderGetEncodedFrames", LIB.videoEncoderGetEncodedFrames(handle, e, packets));
                        videoPackets += packets.size();
                    }
                }
            } while ((flags.value & 1) == 0);
        }

        void audio(FlvReader.Tag frame, long time) {
            ok("audioDecoderDecodeFrame", LIB.audioDecoderDecodeFrame(handle, frame.data, 0, frame.data.length, time,
                    0));
            for (int e = 0; e < 2; e++) {
                packets.clear();
                ok("audioEncoderAddSampleBuffer", LIB.audioEncoderAddSampleBuffer(handle, e, 0, packets));
                audioPackets += packets.size();
            }
        }

        void drain() {
            log.clear();
            ok("getLogStatements", LIB.getLogStatements(handle, log));
        }

        @Override
        public void close() {
            drain();
            LIB.destroyInstance(handle);
        }
    }

    /** Least-squares slope of y over x. */
    static double slope(List<double[]> points) {
        double n = points.size();
        double sx = 0;
        double sy = 0;
        double sxx = 0;
        double sxy = 0;
        for (double[] p : points) {
            sx += p[0];
            sy += p[1];
            sxx += p[0] * p[0];
            sxy += p[0] * p[1];
        }
        return (n * sxy - sx * sy) / (n * sxx - sx * sx);
    }

    static void cycles(int count, Clip clip, PrintWriter csv) throws IOException {
        int frames = 4;
        int every = Math.max(1, count / 100);
        List<double[]> samples = new ArrayList<>();
        long start = System.nanoTime();
        long first = rssKiB();
        csv.println("cycle,seconds,rss_kib");
        csv.printf("0,0,%d%n", first);
        for (int i = 1; i <= count; i++) {
            try (Session s = new Session(clip)) {
                for (int f = 0; f < frames; f++) {
                    s.video(clip.video.get(f), clip.video.get(f).presentationTime());
                    s.audio(clip.audio.get(f), clip.audio.get(f).timestamp);
                }
                if (s.videoPackets == 0 || s.audioPackets == 0) {
                    throw new IllegalStateException("cycle " + i + " made no packets");
                }
            }
            if (i % every == 0) {
                long rss = rssKiB();
                double seconds = (System.nanoTime() - start) / 1e9;
                csv.printf("%d,%.1f,%d%n", i, seconds, rss);
                csv.flush();
                samples.add(new double[] {i, rss});
                System.out.printf("cycle %d: %.1f s, RSS %d KiB%n", i, seconds, rss);
            }
        }
        double seconds = (System.nanoTime() - start) / 1e9;
        // The slope over the second half, after allocator and JIT warm-up.
        List<double[]> late = samples.subList(samples.size() / 2, samples.size());
        System.out.printf("cycles: %d in %.0f s (%.2f ms each)%n", count, seconds, seconds * 1000 / count);
        System.out.printf("RSS: %d KiB before, %d KiB after the first %d cycles, %d KiB at the end%n", first,
                (long) samples.get(0)[1], every, (long) samples.get(samples.size() - 1)[1]);
        System.out.printf("RSS growth per cycle over the second half: %.3f KiB%n", slope(late));
    }

    static void stream(double minutes, boolean realtime, Clip clip, PrintWriter csv) throws Exception {
        long streamMs = (long) (minutes * 60_000);
        long start = System.nanoTime();
        List<double[]> samples = new ArrayList<>();
        csv.println("stream_seconds,wall_seconds,rss_kib");
        try (Session s = new Session(clip)) {
            long nextSample = 0;
            int round = 0;
            for (long loop = 0; loop * clip.durationMs < streamMs; loop++) {
                long offset = loop * clip.durationMs;
                int a = 0;
                for (FlvReader.Tag frame : clip.video) {
                    long time = offset + frame.presentationTime();
                    s.video(frame, offset + frame.presentationTime());
                    for (; a < clip.audio.size() && clip.audio.get(a).timestamp <= frame.timestamp; a++) {
                        s.audio(clip.audio.get(a), offset + clip.audio.get(a).timestamp);
                    }
                    if (realtime) {
                        long ahead = time - (System.nanoTime() - start) / 1_000_000;
                        if (ahead > 0) {
                            Thread.sleep(ahead);
                        }
                    }
                    if (time >= nextSample) {
                        s.drain();
                        s.setOverlays(round++);
                        long rss = rssKiB();
                        double wall = (System.nanoTime() - start) / 1e9;
                        csv.printf("%.0f,%.1f,%d%n", time / 1000.0, wall, rss);
                        csv.flush();
                        samples.add(new double[] {time / 1000.0, rss});
                        System.out.printf("stream %.0f s: wall %.1f s, RSS %d KiB%n", time / 1000.0, wall, rss);
                        nextSample += 60_000;
                    }
                }
            }
            System.out.printf("stream: %.1f min in %.1f s wall, %d video and %d audio packets%n", minutes,
                    (System.nanoTime() - start) / 1e9, s.videoPackets, s.audioPackets);
        }
        List<double[]> late = samples.subList(samples.size() / 2, samples.size());
        System.out.printf("RSS: %d KiB at 0 min, %d KiB at the end; growth over the second half %.1f KiB per hour%n",
                (long) samples.get(0)[1], (long) samples.get(samples.size() - 1)[1], slope(late) * 3600);
    }

    public static void main(String[] args) throws Exception {
        LIB.nativeInitialize();
        Clip clip = Clip.read(Path.of(args[3]));
        try (PrintWriter csv = new PrintWriter(Files.newBufferedWriter(Path.of(args[2])))) {
            if (args[0].equals("cycles")) {
                cycles(Integer.parseInt(args[1]), clip, csv);
            } else {
                stream(Double.parseDouble(args[1]), args.length > 4 && args[4].equals("realtime"), clip, csv);
            }
        }
    }
}
