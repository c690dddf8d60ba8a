package com.corvane.cvx.transcoder.host;

import com.corvane.cvx.transcoder.model.TranscoderLogStatement;
import com.corvane.cvx.transcoder.model.TranscoderLongByReference;
import com.corvane.cvx.transcoder.model.TranscoderNativeParameterValue;
import com.corvane.cvx.transcoder.model.TranscoderPacket;
import com.corvane.cvx.transcoder.model.TranscoderSessionNative;

import java.io.IOException;
import java.io.PrintStream;
import java.nio.file.Path;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.List;

/**
 * Drives one library session over one FLV input, in the order a media server
 * uses the exports: build the structure once (decoder, buffers, renditions,
 * encoders, audio), then for each frame decode, transfer to every rendition,
 * encode, and hand the packets to the writers.
 */
public final class TranscodeSession implements AutoCloseable {
    /** videoDecoderDecode flags. */
    private static final long FLAG_INPUT_EMPTY = 1;
    private static final long FLAG_PICTURE = 4;
    private static final long FLAG_NOT_SHOWN = 8;
    /** Encoder profile families of setDefaults' first argument. */
    public static final int PROFILE_BASELINE = 0;
    public static final int PROFILE_MAIN = 1;
    public static final int PROFILE_HIGH = 2;
    private static final int LOG_FAULT = 3;
    private static final int DECODER_SETTING_THREADS = 1;
    private static final int KEPT_FAULTS = 5;

    /** Told about progress after every picture. */
    public interface Progress {
        void update(long pictures, long mediaMillis);
    }

    private final TranscoderSessionNative lib;
    private final HostOptions options;
    private final PrintStream messages;
    private final List<RenditionOutput> outputs = new ArrayList<>();
    private final List<TranscoderPacket> encoded = new ArrayList<>();
    private final List<TranscoderLogStatement> log = new ArrayList<>();
    private final ArrayDeque<String> recentFaults = new ArrayDeque<>();
    private final TranscoderLongByReference flags = new TranscoderLongByReference();
    private long session;
    private InputProbe probe;
    private AudioPath audio;
    private long pictures;
    private long videoPacketsIn;

    public TranscodeSession(TranscoderSessionNative lib, HostOptions options, PrintStream messages) {
        this.lib = lib;
        this.options = options;
        this.messages = messages;
    }

    public List<RenditionOutput> outputs() {
        return outputs;
    }

    public InputProbe probe() {
        return probe;
    }

    public long pictures() {
        return pictures;
    }

    public long videoPacketsIn() {
        return videoPacketsIn;
    }

    public AudioPath audio() {
        return audio;
    }

    /** Builds everything before the first frame. */
    public void open(Path input, Watermark watermark) throws HostException {
        probe = InputProbe.read(input);
        session = lib.createInstance();
        if (session == 0) {
            throw new HostException(HostException.LIBRARY, "the library could not create a session");
        }
        openVideoDecoder();
        openRenditions(input, watermark);
        if (probe.audioCodec >= 0 && !options.noAudio) {
            audio = AudioPath.open(lib, session, probe, options.ladder.hasH264(), options.ladder.hasVp8(),
                    options.audioBitrate, text -> messages.println("note: " + text));
        }
        // The codec configuration comes after the encoders exist, so that they take the stream's frame rate.
        if (probe.videoConfig != null) {
            check(lib.videoDecoderDecodeCodecConfig(session, probe.videoConfig, 0, probe.videoConfig.length),
                    "videoDecoderDecodeCodecConfig");
        }
        openWriters();
        drainLog();
    }

    private void openVideoDecoder() throws HostException {
        long status = lib.videoDecoderCreate(session, probe.videoCodec, 0);
        if (TranscoderSessionNative.failed(status)) {
            throw new HostException(HostException.INPUT, "unsupported video codec: "
                    + InputProbe.videoCodecName(probe.videoCodec) + " (FLV codec id " + probe.videoCodec
                    + ") has no decoder in this library");
        }
        check(lib.videoDecoderBuffersCreate(session, 1), "videoDecoderBuffersCreate");
        // Setting 1 of the stream decoders: their thread count, read when they initialise.
        lib.videoDecoderSetParameterValues(session, new TranscoderNativeParameterValue[] {
            TranscoderNativeParameterValue.ofLong(DECODER_SETTING_THREADS, options.decoderThreads)});
        check(lib.videoDecoderInitialize(session), "videoDecoderInitialize");
        check(lib.videoEncoderBufferSetsCreate(session, 1), "videoEncoderBufferSetsCreate");
    }

    private void openRenditions(Path input, Watermark watermark) throws HostException {
        String stem = input.getFileName().toString().replaceFirst("\\.[^.]*$", "");
        List<String> names = new ArrayList<>();
        for (RenditionPlan plan : options.ladder.renditions()) {
            String base = stem + "_" + plan.width() + "x" + plan.height() + "_" + plan.codecName();
            String name = base + "." + plan.extension();
            for (int n = 2; names.contains(name); n++) {
                name = base + "_" + n + "." + plan.extension();
            }
            names.add(name);
            RenditionOutput out = new RenditionOutput(plan, options.outputDir.resolve(name));
            TranscoderLongByReference index = new TranscoderLongByReference(-1);
            check(lib.videoEncoderBufferAdd(session, plan.width(), plan.height(), plan.scaleMode(), index),
                    "videoEncoderBufferAdd for " + plan);
            out.item = (int) index.value;
            check(lib.videoEncoderAdd(session, plan.codec(), 0, index), "videoEncoderAdd for " + plan);
            out.encoder = (int) index.value;
            int e = out.encoder;
            if (plan.isH264()) {
                check(lib.videoEncoderSetDefaults(session, e, options.profile, options.preset), "videoEncoderSetDefaults");
            } else {
                check(lib.videoEncoderSetDefaults(session, e, 0, 0), "videoEncoderSetDefaults");
            }
            check(lib.videoEncoderSetFrameSize(session, e, plan.width(), plan.height()), "videoEncoderSetFrameSize");
            check(lib.videoEncoderSetFrameRate(session, e, probe.frameRate), "videoEncoderSetFrameRate");
            check(lib.videoEncoderSetBitrate(session, e, plan.bitrate()), "videoEncoderSetBitrate");
            if (plan.isH264()) {
                // Key frames where the source has them: the H.264 rungs switch cleanly.
                check(lib.videoEncoderSetKeyFrameFollow(session, e, true), "videoEncoderSetKeyFrameFollow");
            }
            check(lib.videoEncoderInitialize(session, e), "videoEncoderInitialize for " + plan);
            if (watermark != null) {
                watermark.install(lib, session, out.item, plan.width(), plan.height());
            }
            outputs.add(out);
        }
    }

    private void openWriters() throws HostException {
        for (RenditionOutput out : outputs) {
            RenditionPlan plan = out.plan;
            try {
                if (plan.isH264()) {
                    AudioFormat format = audio != null ? audio.aacFormat() : null;
                    out.hasAudio = format != null;
                    out.writer = new FlvWriter(out.file, plan.width(), plan.height(), probe.frameRate, plan.bitrate(),
                            format, probe.origin);
                } else {
                    AudioFormat format = audio != null ? audio.vorbisFormat() : null;
                    out.hasAudio = format != null;
                    out.writer = new WebmWriter(out.file, plan.width(), plan.height(), probe.frameRate, format,
                            probe.origin);
                }
            } catch (IOException e) {
                throw new HostException(HostException.OUTPUT, "cannot write " + out.file + ": " + e.getMessage());
            }
        }
    }

    /** Runs the whole input through the session. */
    public void run(Path input, Progress progress) throws HostException {
        try (FlvReader reader = new FlvReader(input)) {
            for (FlvReader.Tag tag = reader.next(); tag != null; tag = reader.next()) {
                if (tag.type == FlvReader.TAG_VIDEO) {
                    if (!tag.config && tag.codec == probe.videoCodec) {
                        video(tag);
                        progress.update(pictures, tag.presentationTime() - probe.origin);
                    }
                } else if (audio != null) {
                    audio.feed(tag, this::toFlv, this::toWebm);
                }
                if ((videoPacketsIn & 31) == 0) {
                    drainLog();
                }
            }
        } catch (IOException e) {
            throw new HostException(HostException.INPUT, "reading " + input + " failed: " + e.getMessage());
        }
        drainLog();
    }

    private void video(FlvReader.Tag tag) throws HostException, IOException {
        videoPacketsIn++;
        check(lib.videoDecoderAddFrame(session, tag.data, 0, tag.data.length, tag.presentationTime(), tag.frameType),
                "videoDecoderAddFrame");
        // Drain the decoder before the next frame: it reads this frame's bytes until then.
        do {
            check(lib.videoDecoderDecode(session, 0, flags), "videoDecoderDecode");
            if ((flags.value & FLAG_PICTURE) != 0 && (flags.value & FLAG_NOT_SHOWN) == 0) {
                pictures++;
                check(lib.videoDecoderTransferFrame(session, 0, 0), "videoDecoderTransferFrame");
                for (RenditionOutput out : outputs) {
                    encode(out);
                }
            }
        } while ((flags.value & FLAG_INPUT_EMPTY) == 0);
    }

    private void encode(RenditionOutput out) throws HostException, IOException {
        long start = System.nanoTime();
        check(lib.videoEncoderAddFrame(session, out.encoder, 0, out.item, 0), "videoEncoderAddFrame");
        encoded.clear();
        check(lib.videoEncoderGetEncodedFrames(session, out.encoder, encoded), "videoEncoderGetEncodedFrames");
        out.encodeNanos += System.nanoTime() - start;
        for (TranscoderPacket p : encoded) {
            out.packets++;
            out.writer.writeVideo(p);
        }
    }

    private void toFlv(TranscoderPacket p) throws IOException {
        for (RenditionOutput out : outputs) {
            if (out.plan.isH264() && out.hasAudio) {
                out.writer.writeAudio(p);
            }
        }
    }

    private void toWebm(TranscoderPacket p) throws IOException {
        for (RenditionOutput out : outputs) {
            if (!out.plan.isH264() && out.hasAudio) {
                out.writer.writeAudio(p);
            }
        }
    }

    /** Prints the library's faults as they come, naming the rendition they concern. */
    private void drainLog() {
        if (session == 0) {
            return;
        }
        log.clear();
        lib.getLogStatements(session, log);
        for (TranscoderLogStatement s : log) {
            String text = s.format(contextName(s));
            if (s.level >= LOG_FAULT) {
                messages.println("library: " + text);
                recentFaults.add(text);
                if (recentFaults.size() > KEPT_FAULTS) {
                    recentFaults.poll();
                }
            } else if (options.verbose) {
                messages.println("library: " + text);
            }
        }
    }

    private String contextName(TranscoderLogStatement s) {
        switch (s.contextType) {
            case 2:
                for (RenditionOutput out : outputs) {
                    if (out.encoder == s.contextIndex) {
                        return out.plan.toString();
                    }
                }
                return "video encoder " + s.contextIndex;
            case 1:
                return "video decoder";
            case 3:
                return "audio decoder";
            case 4:
                return "audio encoder " + s.contextIndex;
            default:
                return "session";
        }
    }

    private void check(long status, String what) throws HostException {
        if (TranscoderSessionNative.failed(status)) {
            drainLog();
            String detail = recentFaults.isEmpty() ? "" : " (" + recentFaults.peekLast() + ")";
            throw new HostException(HostException.LIBRARY, what + " answered failure, status " + status + detail);
        }
    }

    /** Completes every output file. */
    public void finish() throws HostException {
        HostException failure = null;
        for (RenditionOutput out : outputs) {
            if (out.writer == null || out.closed) {
                continue;
            }
            out.closed = true;
            try {
                out.writer.close();
            } catch (IOException e) {
                failure = new HostException(HostException.OUTPUT, "cannot complete " + out.file + ": " + e.getMessage());
            }
        }
        if (failure != null) {
            throw failure;
        }
    }

    @Override
    public void close() {
        for (RenditionOutput out : outputs) {
            if (out.writer != null && !out.closed) {
                out.closed = true;
                try {
                    out.writer.close();
                } catch (IOException | RuntimeException e) {
                    // Already reported by finish, or the run failed before it.
                }
            }
        }
        if (session != 0) {
            drainLog();
            lib.destroyInstance(session);
            session = 0;
        }
    }
}
