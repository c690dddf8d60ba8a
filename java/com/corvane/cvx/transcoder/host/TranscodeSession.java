package com.corvane.cvx.transcoder.host;

import com.corvane.cvx.transcoder.AudioPacket;
import com.corvane.cvx.transcoder.FrameType;
import com.corvane.cvx.transcoder.H264Settings;
import com.corvane.cvx.transcoder.LogEntry;
import com.corvane.cvx.transcoder.PacketSink;
import com.corvane.cvx.transcoder.PictureSink;
import com.corvane.cvx.transcoder.Session;
import com.corvane.cvx.transcoder.Transcoder;
import com.corvane.cvx.transcoder.TranscoderException;
import com.corvane.cvx.transcoder.VideoCodec;
import com.corvane.cvx.transcoder.VideoDecoder;
import com.corvane.cvx.transcoder.VideoEncoder;
import com.corvane.cvx.transcoder.VideoPacket;

import java.io.IOException;
import java.io.PrintStream;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

/**
 * Drives one library session over one FLV input, as a media server uses the library: build the structure
 * once (decoder, renditions, encoders, audio), then for each frame decode, transfer the picture to every
 * rendition, encode, and hand the packets to the writers.
 */
public final class TranscodeSession implements AutoCloseable {
    /** Told about progress after every picture. */
    public interface Progress {
        void update(long pictures, long mediaMillis);
    }

    private final HostOptions options;
    private final PrintStream messages;
    private final List<RenditionOutput> outputs = new ArrayList<>();
    /** The per-frame callbacks, made once. */
    private final PictureSink<IOException> onPicture = this::picture;
    private final PacketSink<AudioPacket, IOException> toFlv = this::toFlv;
    private final PacketSink<AudioPacket, IOException> toWebm = this::toWebm;
    private Session session;
    private VideoDecoder decoder;
    private InputProbe probe;
    private AudioPath audio;
    private HlsLadder hls;
    private long pictures;
    private long videoPacketsIn;

    public TranscodeSession(HostOptions options, PrintStream messages) {
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

    /** The HLS master playlist, or null when the run writes no HLS. */
    public Path hlsMaster() {
        return hls != null ? hls.master() : null;
    }

    /** Builds everything before the first frame. */
    public void open(Path input, Watermark watermark) throws HostException {
        probe = InputProbe.read(input);
        try {
            session = Transcoder.session().logSink(this::print).open();
            openVideoDecoder();
            openRenditions(input, watermark);
            if (probe.audioCodec >= 0 && !options.noAudio) {
                audio = AudioPath.open(session, probe, options.ladder.hasH264(), options.ladder.hasVp8(),
                        options.audioBitrate, text -> messages.println("note: " + text));
            }
            // The codec configuration comes after the encoders exist, so that they take the stream's frame rate.
            if (probe.videoConfig != null) {
                decoder.decodeCodecConfig(probe.videoConfig);
            }
            openWriters();
            session.drainLog();
        } catch (TranscoderException e) {
            throw library(e);
        }
    }

    private void openVideoDecoder() throws HostException {
        HostException unsupported = new HostException(HostException.INPUT, "unsupported video codec: "
                + InputProbe.videoCodecName(probe.videoCodec) + " (FLV codec id " + probe.videoCodec
                + ") has no decoder in this library");
        // FLV's codec ids are the library's codec numbers.
        VideoCodec codec = VideoCodec.of(probe.videoCodec);
        if (codec == null || !codec.hasDecoder()) {
            throw unsupported;
        }
        try {
            decoder = session.videoDecoder(codec).threads(options.decoderThreads).open();
        } catch (TranscoderException e) {
            throw e.export().equals("videoDecoderCreate") ? unsupported : library(e);
        }
    }

    private void openRenditions(Path input, Watermark watermark) throws HostException {
        String stem = input.getFileName().toString().replaceFirst("\\.[^.]*$", "");
        List<String> names = new ArrayList<>();
        for (RenditionPlan plan : options.ladder.renditions()) {
            boolean toHls = plan.isH264() && options.hls != null;
            // An HLS rung is a folder of segments named by its size.
            String base = toHls ? plan.width() + "x" + plan.height()
                    : stem + "_" + plan.width() + "x" + plan.height() + "_" + plan.codecName();
            String extension = toHls ? "" : "." + plan.extension();
            String name = base + extension;
            for (int n = 2; names.contains(name); n++) {
                name = base + "_" + n + extension;
            }
            names.add(name);
            RenditionOutput out = toHls
                    ? new RenditionOutput(plan, options.hls.resolve(name),
                            options.hls.toAbsolutePath().normalize().getFileName() + "/" + name)
                    : new RenditionOutput(plan, options.outputDir.resolve(name), name);
            try {
                out.rendition = session.rendition(plan.width(), plan.height()).scaleMode(plan.fit()).add();
                VideoEncoder.Builder encoder = session.videoEncoder(plan.videoCodec()).rendition(out.rendition)
                        .name(plan.toString()).frameRate(probe.frameRate).bitrate(plan.bitrate());
                if (plan.isH264()) {
                    // Key frames where the source has them: the H.264 rungs switch cleanly.
                    encoder.h264(options.profile, options.preset).keyFrameFollow();
                    if (toHls) {
                        // Every segment starts at a key frame that a player can join at.
                        encoder.set(H264Settings.REPEAT_HEADERS, 1);
                    }
                }
                out.encoder = encoder.open();
            } catch (TranscoderException e) {
                throw new HostException(HostException.LIBRARY, e.getMessage() + " for " + plan);
            }
            if (watermark != null) {
                watermark.install(out.rendition);
            }
            outputs.add(out);
        }
    }

    private void openWriters() throws HostException {
        if (options.hls != null) {
            try {
                hls = new HlsLadder(options.hls, options.hlsSegmentMillis);
            } catch (IOException e) {
                throw new HostException(HostException.OUTPUT, "cannot create the HLS folder " + options.hls + ": "
                        + e.getMessage());
            }
        }
        for (RenditionOutput out : outputs) {
            RenditionPlan plan = out.plan;
            try {
                if (plan.isH264()) {
                    AudioFormat format = audio != null ? audio.aacFormat() : null;
                    out.hasAudio = format != null;
                    out.writer = hls != null
                            ? hls.rung(out.file.getFileName().toString(), plan.width(), plan.height(), probe.frameRate,
                                    format, probe.origin)
                            : new FlvWriter(out.file, plan.width(), plan.height(), probe.frameRate, plan.bitrate(),
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
                        videoPacketsIn++;
                        decoder.decode(tag.data, 0, tag.data.length, tag.presentationTime(), frameType(tag), 0,
                                onPicture);
                        progress.update(pictures, tag.presentationTime() - probe.origin);
                    }
                } else if (audio != null) {
                    audio.feed(tag, toFlv, toWebm);
                }
                if ((videoPacketsIn & 31) == 0) {
                    session.drainLog();
                }
            }
            endOfStream();
        } catch (IOException e) {
            throw new HostException(HostException.INPUT, "reading " + input + " failed: " + e.getMessage());
        } catch (TranscoderException e) {
            throw library(e);
        }
        session.drainLog();
    }

    /**
     * The input has ended: the decoder's last pictures go through every rendition as any picture, then each
     * encoder gives out what its lookahead holds, and the audio encoders their last samples.
     */
    private void endOfStream() throws IOException {
        decoder.endOfStream(0, onPicture);
        for (RenditionOutput out : outputs) {
            long start = System.nanoTime();
            out.packets += out.encoder.endOfStream(out.collect);
            out.encodeNanos += System.nanoTime() - start;
            writePending(out);
        }
        if (audio != null) {
            audio.finish(toFlv, toWebm);
        }
    }

    /** FLV's frame types are the library's: 1 key, 3 disposable, the others inter frames. */
    private static FrameType frameType(FlvReader.Tag tag) {
        return switch (tag.frameType) {
            case 1 -> FrameType.KEY;
            case 3 -> FrameType.DISPOSABLE;
            default -> FrameType.INTER;
        };
    }

    /** A decoded picture: into every rendition, and every rendition into its encoder. */
    private void picture(int decoderBuffer) throws IOException {
        pictures++;
        decoder.transfer(decoderBuffer);
        for (RenditionOutput out : outputs) {
            long start = System.nanoTime();
            out.packets += out.encoder.encode(out.collect);
            out.encodeNanos += System.nanoTime() - start;
            writePending(out);
        }
    }

    private static void writePending(RenditionOutput out) throws IOException {
        for (VideoPacket p : out.pending) {
            out.writer.writeVideo(p);
        }
        out.pending.clear();
    }

    private void toFlv(AudioPacket p) throws IOException {
        for (RenditionOutput out : outputs) {
            if (out.plan.isH264() && out.hasAudio) {
                out.writer.writeAudio(p);
            }
        }
    }

    private void toWebm(AudioPacket p) throws IOException {
        for (RenditionOutput out : outputs) {
            if (!out.plan.isH264() && out.hasAudio) {
                out.writer.writeAudio(p);
            }
        }
    }

    /** The library's faults as they come, naming the rendition they concern; its progress too with -v. */
    private void print(LogEntry entry) {
        if (entry.isFault() || options.verbose) {
            messages.println("library: " + entry.message());
        }
    }

    private static HostException library(TranscoderException e) {
        return new HostException(HostException.LIBRARY, e.getMessage());
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
        if (session != null) {
            session.close();
        }
    }
}
