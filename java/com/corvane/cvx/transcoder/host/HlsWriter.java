package com.corvane.cvx.transcoder.host;

import com.corvane.cvx.transcoder.AudioPacket;
import com.corvane.cvx.transcoder.VideoPacket;

import java.io.BufferedOutputStream;
import java.io.IOException;
import java.io.OutputStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Locale;

/**
 * One H.264 rung of the HLS ladder: MPEG-TS segments in the rung's folder and its media playlist, rewritten
 * as each segment completes. A segment is cut at the first key frame at or after the target length, so
 * rungs whose key frames follow the source's are cut at the same instants. Times come from the library's
 * timecodes: a frame is presented at its source time (the same in every rung), and decode times run ahead
 * of it by this rung's reordering depth.
 */
final class HlsWriter implements MediaWriter {
    static final String PLAYLIST = "index.m3u8";
    /**
     * Where file time 0 lies in the stream's 90 kHz clock: room for decode times ahead of the first
     * presentation time, which a transport stream cannot carry below zero.
     */
    static final long CLOCK_ORIGIN = 10 * 90_000L;

    private final HlsLadder ladder;
    private final Path folder;
    private final int width;
    private final int height;
    private final double frameRate;
    private final AudioFormat audio;
    private final long origin;
    private final long targetMillis;
    private final DecodeTimeline timeline;
    private final Interleaver<Unit> interleaver;
    private final TsMuxer muxer;
    private final HlsMediaPlaylist playlist;
    private final VideoSpan span;
    private String codecs;
    private OutputStream segment;
    private String segmentName;
    private long segmentBytes;
    /** The open segment's first presentation time in file milliseconds; -1 before its key frame. */
    private long segmentStart = -1;
    private int segmentCount;
    private long written;

    /** A packet ready for the muxer: 90 kHz times, and the presentation time in file milliseconds. */
    private record Unit(byte[] data, long pts, long dts, boolean key, long millis) {
    }

    /**
     * @param audio  AAC format, or null for a rung without audio
     * @param origin the stream time that becomes 0 in file time, in milliseconds
     */
    HlsWriter(HlsLadder ladder, Path folder, int width, int height, double frameRate, AudioFormat audio, long origin,
            long targetMillis) throws IOException {
        this.ladder = ladder;
        this.folder = Files.createDirectories(folder);
        this.width = width;
        this.height = height;
        this.frameRate = frameRate;
        this.audio = audio;
        this.origin = origin;
        this.targetMillis = targetMillis;
        this.span = new VideoSpan(frameRate);
        this.timeline = new DecodeTimeline(this::timed);
        this.interleaver = new Interleaver<>(audio != null, this::write);
        this.muxer = new TsMuxer(audio);
        this.playlist = new HlsMediaPlaylist(targetMillis);
        Files.deleteIfExists(folder.resolve(PLAYLIST));
    }

    @Override
    public void writeVideo(VideoPacket packet) throws IOException {
        if (codecs == null) {
            // A player starts at a key frame with its parameter sets, which also name the profile and level.
            byte[] config = packet.isKeyFrame() ? FlvWriter.decoderConfiguration(packet.data()) : null;
            if (config == null) {
                return;
            }
            codecs = String.format(Locale.ROOT, "avc1.%02x%02x%02x", config[1], config[2], config[3]);
            if (audio != null) {
                codecs += ",mp4a.40." + ((audio.config()[0] & 0xFF) >> 3);
            }
        }
        timeline.add(packet);
    }

    @Override
    public void writeAudio(AudioPacket packet) throws IOException {
        if (audio == null || packet.sampleRate() <= 0 || packet.data().length == 0
                || packet.data().length > TsMuxer.MAX_AAC_FRAME) {
            return;
        }
        // From the sample position itself, so that rounding never accumulates.
        long pts = (packet.samplePosition() * 90_000 + packet.sampleRate() / 2) / packet.sampleRate() - origin * 90
                + CLOCK_ORIGIN;
        long millis = packet.timecodeMillis() - origin;
        interleaver.addAudio(millis, new Unit(packet.data(), pts, pts, false, millis));
    }

    /** A video packet with its decode time: presented at its source time, the timeline's shift taken off. */
    private void timed(VideoPacket packet, long presentation, long decode) throws IOException {
        long pts = presentation - timeline.shift() - origin;
        long dts = decode - timeline.shift() - origin;
        span.add(pts);
        interleaver.addVideo(dts, new Unit(packet.data(), pts * 90 + CLOCK_ORIGIN, Math.max(0, dts * 90 + CLOCK_ORIGIN),
                packet.isKeyFrame(), pts));
    }

    private void write(Unit unit, boolean video) throws IOException {
        if (video && unit.key() && (segmentStart < 0 || unit.millis() - segmentStart >= targetMillis)) {
            if (segmentStart >= 0) {
                completeSegment(unit.millis(), false);
            }
            segmentStart = unit.millis();
        }
        if (segment == null) {
            // Audio ahead of the first key frame opens the first segment too.
            segmentName = String.format(Locale.ROOT, "segment-%05d.ts", segmentCount);
            segment = new BufferedOutputStream(Files.newOutputStream(folder.resolve(segmentName)), 1 << 16);
            segmentBytes = muxer.tables(segment);
        }
        segmentBytes += video ? muxer.video(segment, unit.data(), unit.pts(), unit.dts(), unit.key())
                : muxer.audio(segment, unit.data(), unit.pts());
    }

    /** Closes the open segment, lists it, and publishes the playlists. */
    private void completeSegment(long endMillis, boolean ended) throws IOException {
        segment.close();
        segment = null;
        written += segmentBytes;
        playlist.add(new HlsMediaPlaylist.Segment(segmentName, endMillis - segmentStart, segmentBytes));
        segmentCount++;
        HlsLadder.publish(folder.resolve(PLAYLIST), playlist.text(ended));
        ladder.segmentCompleted();
    }

    @Override
    public void close() throws IOException {
        try {
            timeline.finish();
            interleaver.finish();
            if (segment != null && segmentStart >= 0) {
                completeSegment(span.endMillis(), true);
            }
        } finally {
            if (segment != null) {
                // Only audio came, or writing failed: nothing a player could start, and nothing lists it.
                segment.close();
                segment = null;
                Files.deleteIfExists(folder.resolve(segmentName));
            }
        }
    }

    @Override
    public VideoSpan videoSpan() {
        return span;
    }

    @Override
    public long bytesWritten() {
        return written;
    }

    /** The master playlist's line for this rung, or null before its first segment is out. */
    String variant() {
        if (playlist.isEmpty() || codecs == null) {
            return null;
        }
        return String.format(Locale.ROOT,
                "#EXT-X-STREAM-INF:BANDWIDTH=%d,AVERAGE-BANDWIDTH=%d,RESOLUTION=%dx%d,FRAME-RATE=%.3f,CODECS=\"%s\"\n%s\n",
                playlist.peakBitrate(), playlist.averageBitrate(), width, height, frameRate, codecs,
                folder.getFileName() + "/" + PLAYLIST);
    }
}
