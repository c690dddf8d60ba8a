package com.corvane.cvx.transcoder;

import static org.junit.jupiter.api.Assertions.*;

import com.corvane.cvx.transcoder.model.TranscoderNativeParameterValue;
import com.corvane.cvx.transcoder.model.TranscoderSessionNative;
import com.corvane.cvx.transcoder.testing.*;

import java.io.ByteArrayOutputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.*;
import java.util.*;
import java.util.concurrent.atomic.AtomicBoolean;
import java.util.logging.*;
import java.util.logging.Formatter;

import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;

/** The API: a stream's video and audio, overlays, settings, the end; the session, its log and its failures. */
class StreamApiTest {
    /** Two seconds of 320x240 H.264 with B-frames and 440 Hz AAC, as FLV tags. */
    static Path input;
    static Containers.Source video;
    static final int FRAMES = 50;

    @BeforeAll
    static void fixtures() throws Exception {
        input = Media.fixture("api-in.flv", "-f", "lavfi", "-i", "testsrc2=size=320x240:rate=25:duration=2", "-f",
                "lavfi", "-i", "sine=frequency=440:duration=2:sample_rate=44100", "-c:v", "libx264", "-bf", "2", "-g",
                "25", "-pix_fmt", "yuv420p", "-c:a", "aac", "-ac", "1", "-f", "flv");
        video = Containers.flv(input, true);
    }

    static FrameType type(Containers.Frame frame) {
        return frame.frameType() == 1 ? FrameType.KEY : FrameType.INTER;
    }

    static Session session() {
        return Transcoder.session().name("api").logSink(LogSink.discard()).open();
    }

    @Test
    void aTwoRungLadderGivesEveryPictureWithTheSourcesTimesAndKeyFramesThenRefusesInput() throws Exception {
        List<VideoPacket> h264 = new ArrayList<>();
        List<VideoPacket> vp8 = new ArrayList<>();
        int[] pictures = {0};
        try (Session session = session()) {
            VideoDecoder decoder = session.videoDecoder(VideoCodec.H264).threads(1).open();
            Rendition big = session.rendition(320, 240).add();
            Rendition small = session.rendition(160, 120).scaleMode(ScaleMode.CROP).add();
            VideoEncoder h264Encoder = session.videoEncoder(VideoCodec.H264).rendition(big)
                    .h264(H264Settings.Profile.MAIN, H264Settings.Preset.VERYFAST).bitrate(500_000).keyFrameFollow()
                    .open();
            VideoEncoder vp8Encoder = session.videoEncoder(VideoCodec.VP8).rendition(small).bitrate(150_000).open();
            decoder.decodeCodecConfig(video.config());
            int reported = 0;
            PictureSink<RuntimeException> encodeBoth = buffer -> {
                pictures[0]++;
                decoder.transfer(buffer);
                h264Encoder.encode(h264::add);
                vp8Encoder.encode(vp8::add);
            };
            for (Containers.Frame frame : video.frames()) {
                reported += decoder.decode(frame.data(), frame.timecode(), type(frame), encodeBoth);
            }
            assertTrue(pictures[0] < FRAMES, "the decoder holds its reordering window");
            assertTrue(h264.size() < pictures[0], "and H.264 its lookahead");
            // The end of the stream: the decoder's last pictures, then what each encoder holds.
            reported += decoder.endOfStream(encodeBoth);
            h264Encoder.endOfStream(h264::add);
            vp8Encoder.endOfStream(vp8::add);
            assertEquals(pictures[0], reported, "decode answers the pictures it reported");
            byte[] late = video.frames().get(0).data();
            TranscoderException refused = assertThrows(TranscoderException.class,
                    () -> decoder.decode(late, 0, FrameType.KEY, encodeBoth));
            assertEquals("videoDecoderAddFrame", refused.export());
            assertTrue(refused.getMessage().contains("refused: the stream has ended"), refused.getMessage());
        }
        assertEquals(FRAMES, pictures[0], "every picture");
        for (List<VideoPacket> rung : List.of(h264, vp8)) {
            assertEquals(FRAMES, rung.size(), "a packet per picture");
            assertEquals(video.times(), new TreeSet<>(rung.stream().map(VideoPacket::timecode).toList()),
                    "a packet at each of the source's times");
        }
        assertEquals(video.keys(), new TreeSet<>(h264.stream().filter(VideoPacket::isKeyFrame)
                .map(VideoPacket::timecode).toList()), "key frames follow the source's");
        assertTrue(h264.stream().anyMatch(p -> p.pictureType() == PictureType.BIDIRECTIONAL), "main profile B-frames");
    }

    @Test
    void overlaysShowInTheRenditionsPictureUntilRemoved() {
        try (Session session = session()) {
            VideoDecoder decoder = session.videoDecoder(VideoCodec.H264).open();
            Rendition rendition = session.rendition(320, 240).add();
            decoder.decodeCodecConfig(video.config());
            byte[] red = new byte[8 * 8 * 4];
            for (int i = 0; i < red.length; i += 4) {
                red[i + 2] = (byte) 255;
                red[i + 3] = (byte) 255;
            }
            rendition.setOverlay(1, Overlay.bgra(red, 8, 8).place(Overlay.Anchor.BOTTOM_RIGHT, 4, 4, 32, 16));
            // The middle of the overlay's place, 4 from the right and bottom edges, 32x16: red, then no longer.
            List<String> seen = new ArrayList<>();
            int index = 0;
            while (seen.size() < 2) {
                Containers.Frame frame = video.frames().get(index++);
                decoder.decode(frame.data(), frame.timecode(), type(frame), buffer -> {
                    decoder.transfer(buffer);
                    BgraPicture picture = rendition.readBgra(0).orElseThrow();
                    assertEquals(decoder.readBgra(buffer).orElseThrow().timecode(), picture.timecode());
                    assertEquals(List.of(320, 240), List.of(picture.width(), picture.height()));
                    int at = ((240 - 4 - 8) * 320 + (320 - 4 - 16)) * 4;
                    byte[] p = picture.pixels();
                    seen.add((p[at + 2] & 0xFF) > 230 && (p[at + 1] & 0xFF) < 30 && (p[at] & 0xFF) < 30 ? "red"
                            : (p[at + 2] & 0xFF) + "," + (p[at + 1] & 0xFF) + "," + (p[at] & 0xFF));
                    rendition.removeOverlay(1);
                });
            }
            assertEquals("red", seen.get(0));
            assertNotEquals("red", seen.get(1));
        }
    }

    @Test
    void settingsAreTypedAndReadBackAndRawRecordsStillWork() {
        try (Session session = session()) {
            VideoDecoder decoder = session.videoDecoder(VideoCodec.H264).threads(2).open();
            assertEquals(2, decoder.get(VideoDecoderSettings.THREADS).orElseThrow());
            Rendition r = session.rendition(320, 240).add();
            VideoEncoder h264 = session.videoEncoder(VideoCodec.H264).rendition(r).frameRate(25).bitrate(700_000)
                    .set(H264Settings.B_FRAMES, 0).set(H264Settings.DEBLOCK, 1, -1)
                    .parameters(TranscoderNativeParameterValue.ofLong(H264Settings.LOG_LEVEL.number(), 0)).open();
            assertEquals(0, h264.get(H264Settings.B_FRAMES).orElseThrow());
            assertEquals(0, h264.get(H264Settings.LOG_LEVEL).orElseThrow(), "a raw record");
            assertEquals(700_000, h264.get(H264Settings.BITRATE).orElseThrow(), "the builder's bit rate");
            assertEquals(25.0, h264.get(H264Settings.FRAME_RATE).orElseThrow());
            assertEquals(4, h264.length(H264Settings.DEBLOCK).orElseThrow());
            assertTrue(h264.get(Setting.ofLong(9999, "no such")).isEmpty());
            h264.apply(H264Settings.REQUESTED_KEY_FRAMES_IDR.value(0));
            assertEquals(0, h264.get(H264Settings.REQUESTED_KEY_FRAMES_IDR).orElseThrow(), "written after opening");

            VideoEncoder vp8 = session.videoEncoder(VideoCodec.VP8).rendition(r).open();
            assertTrue(vp8.get(H264Settings.BITRATE).isEmpty(), "another class's number means nothing to VP8");
        }
    }

    @Test
    void badIndicesAreRefused() {
        try (Session session = session()) {
            VideoDecoder decoder = session.videoDecoder(VideoCodec.H264).buffers(2).open();
            session.rendition(64, 48).add();
            byte[] key = video.frames().get(0).data();
            assertThrows(IndexOutOfBoundsException.class,
                    () -> decoder.decode(key, 0, key.length, 0, FrameType.KEY, 2, buffer -> { }));
            TranscoderException e = assertThrows(TranscoderException.class, () -> decoder.transfer(0, 1));
            assertEquals("videoDecoderTransferFrame", e.export());
            assertTrue(decoder.readBgra(1).isEmpty(), "no picture yet");
        }
    }

    @Test
    void aacInBecomesAacAndVorbisPacketsAtSamplePositionsThatDecode() throws Exception {
        Containers.Source audio = Containers.flv(input, false);
        List<AudioPacket> aac = new ArrayList<>();
        List<AudioPacket> vorbis = new ArrayList<>();
        List<AudioPacket> headers;
        try (Session session = Transcoder.session().logSink(LogSink.discard()).open()) {
            AudioDecoder decoder = session.audioDecoder(AudioCodec.AAC).open();
            decoder.decodeCodecConfig(audio.config());
            byte[] first = audio.frames().get(0).data();
            assertTrue(decoder.decodeFirstFrame(first, 0, first.length));
            assertEquals(44100, decoder.sampleRate());
            assertEquals(1, decoder.channels());
            decoder.buffers(1, 1024);
            AudioEncoder aacEncoder = session.audioEncoder(AudioCodec.AAC).sampleRate(44100).channels(1)
                    .bitrate(96_000).open();
            AudioEncoder vorbisEncoder = session.audioEncoder(AudioCodec.VORBIS).sampleRate(44100).channels(1)
                    .bitrate(64_000).open();
            assertTrue(aacEncoder.headers().isEmpty(), "AAC's configuration is the host's to build");
            headers = vorbisEncoder.headers();
            for (Containers.Frame frame : audio.frames()) {
                decoder.decode(frame.data(), frame.timecode(), 0);
                aacEncoder.encode(0, aac::add);
                vorbisEncoder.encode(0, vorbis::add);
            }
            assertTrue(aacEncoder.endOfStream(aac::add) > 0, "the AAC lookahead");
            assertTrue(vorbisEncoder.endOfStream(vorbis::add) > 0, "the last Vorbis packets");
        }
        assertEquals(3, headers.size());
        for (int i = 0; i < 3; i++) {
            byte[] h = headers.get(i).data();
            assertEquals(2 * i + 1, h[0], "header type");
            assertEquals("vorbis", new String(h, 1, 6, StandardCharsets.US_ASCII));
        }

        // One AAC frame per 1024 samples and the encoder's frame of delay, given out at the end.
        assertEquals(audio.frames().size() + 1, aac.size());
        for (int i = 0; i < aac.size(); i++) {
            AudioPacket p = aac.get(i);
            assertEquals(List.of(44100, 1), List.of(p.sampleRate(), p.channels()));
            assertEquals(aac.get(0).samplePosition() + 1024L * i, p.samplePosition(), "packet " + i);
        }
        assertEquals((aac.get(10).samplePosition() * 1000 + 22050) / 44100, aac.get(10).timecodeMillis());
        long last = Long.MIN_VALUE;
        for (AudioPacket p : vorbis) {
            assertTrue(p.samplePosition() >= last, "Vorbis positions rise");
            last = p.samplePosition();
        }

        // The packets' own bytes decode to the source's tone.
        Path adts = Media.file("api-out.aac");
        Files.write(adts, Containers.adts(aac.stream().map(AudioPacket::data).toList(), 44100, 1));
        assertEquals(440.0, Media.frequency(Media.pcm(adts, 8000), 8000), 5.0);
    }

    /** A session whose log lines are kept for the test. */
    static Session open(String name, List<LogEntry> log) {
        return Transcoder.session().name(name).logSink(log::add).open();
    }

    @Test
    void aFailureCarriesTheExportAndTheFaultLineWithItsContextNamed() {
        List<LogEntry> log = new ArrayList<>();
        try (Session session = open("cam-1", log)) {
            // 44000 Hz has no AAC rate index: the encoder refuses to initialise.
            TranscoderException e = assertThrows(TranscoderException.class, () -> session.audioEncoder(AudioCodec.AAC)
                    .name("aac out").sampleRate(44000).channels(2).bitrate(96_000).open());
            assertEquals("audioEncoderInitialize", e.export());
            assertTrue(TranscoderSessionNative.failed(e.status()));
            assertTrue(e.lastFault().startsWith("AudioEncoderAAC.initialize[cam-1/aac out]: "), e.lastFault());
            assertTrue(e.getMessage().startsWith("audioEncoderInitialize answered failure, status "), e.getMessage());
            assertTrue(e.getMessage().endsWith("(" + e.lastFault() + ")"), e.getMessage());
            assertEquals(e.lastFault(), session.lastFault());

            LogEntry fault = log.stream().filter(LogEntry::isFault).reduce((a, b) -> b).orElseThrow();
            assertEquals(LogEntry.Source.AUDIO_ENCODER, fault.source());
            assertEquals(0, fault.index());
            assertEquals("cam-1/aac out", fault.contextName());
            assertEquals(e.lastFault(), fault.message(), "the sink got the line before the exception was thrown");
        }
    }

    @Test
    void theLogNamesTheStreamAndEachCodecAndIsDrainedOnClose() {
        List<LogEntry> log = new ArrayList<>();
        Session session = open("studio", log);
        session.videoDecoder(VideoCodec.H264).open();
        Rendition r = session.rendition(64, 48).add();
        session.videoEncoder(VideoCodec.VP8).rendition(r).open();
        session.videoEncoder(VideoCodec.VP8).rendition(r).name("small").open();
        assertTrue(log.isEmpty(), "nothing is delivered before a drain");
        session.close();

        List<String> lines = log.stream().map(LogEntry::message).toList();
        assertEquals("TranscoderSession.isCUDAAvailable[studio]: NVidia CUDA hardware acceleration is NOT available",
                lines.get(0));
        assertTrue(lines.containsAll(List.of(
                "TranscoderSession.videoDecoderCreate[studio/video decoder]: Create video decoder: H.264: default",
                "TranscoderSession.videoEncoderAdd[studio/video encoder 0]: Create video encoder: VP8: default",
                "TranscoderSession.videoEncoderAdd[studio/small]: Create video encoder: VP8: default")),
                lines.toString());
        assertTrue(log.stream().noneMatch(l -> l.message().contains("{context}")));
        assertEquals(LogEntry.Source.SESSION, log.get(0).source());
        assertEquals(LogEntry.Level.PROGRESS, log.get(0).level());
    }

    @Test
    void buildersAndAClosedSessionRefuseWhatTheLibraryWouldMisread() {
        List<LogEntry> log = new ArrayList<>();
        Session session = open(null, log);
        assertThrows(IllegalArgumentException.class, () -> session.rendition(0, 48));
        assertThrows(IllegalStateException.class, () -> session.videoEncoder(VideoCodec.VP8).open(),
                "an encoder without a rendition");
        assertThrows(IllegalStateException.class, () -> session.audioEncoder(AudioCodec.AAC).open(),
                "an audio encoder without its format");
        Rendition r = session.rendition(64, 48).add();
        assertEquals(1, session.bufferSetCount(), "the first rendition made a set");
        assertThrows(IllegalStateException.class, () -> session.bufferSets(2), "sets come before renditions");
        assertThrows(IllegalArgumentException.class, () -> Overlay.bgra(new byte[15], 2, 2));
        session.close();
        assertFalse(session.isOpen());
        session.close();
        assertEquals(0, session.drainLog());
        assertThrows(IllegalStateException.class, () -> session.videoDecoder(VideoCodec.H264).open());
        assertThrows(IllegalStateException.class, () -> r.removeOverlay(1));
        assertThrows(IllegalStateException.class, session::nativeHandle);
        assertEquals(2, log.size(), "the hardware answers, drained once at close");
    }

    @Test
    void theLogDrainsFromAnotherThreadWhileTheSessionIsBuiltAndClosed() throws Exception {
        List<LogEntry> log = Collections.synchronizedList(new ArrayList<>());
        Session session = open("busy", log);
        AtomicBoolean stop = new AtomicBoolean();
        List<Throwable> errors = Collections.synchronizedList(new ArrayList<>());
        Thread drainer = new Thread(() -> {
            while (!stop.get()) {
                session.drainLog();
            }
        });
        drainer.setUncaughtExceptionHandler((thread, e) -> errors.add(e));
        drainer.start();
        int encoders = 40;
        try {
            Rendition r = session.rendition(64, 48).add();
            for (int i = 0; i < encoders; i++) {
                session.videoEncoder(VideoCodec.VP8).rendition(r).open();
            }
        } finally {
            session.close();
            stop.set(true);
            drainer.join();
        }
        assertEquals(List.of(), errors);
        long created = log.stream().filter(l -> l.message().contains("Create video encoder")).count();
        assertEquals(encoders, created, "every line delivered exactly once");
    }

    @Test
    void theDefaultSinkIsJavaLogging() {
        Logger logger = Logger.getLogger("com.corvane.cvx.transcoder");
        ByteArrayOutputStream text = new ByteArrayOutputStream();
        Handler handler = new StreamHandler(text, new Formatter() {
            @Override
            public String format(LogRecord record) {
                return record.getLevel() + " " + record.getMessage() + "\n";
            }
        });
        handler.setLevel(Level.ALL);
        Level before = logger.getLevel();
        logger.addHandler(handler);
        logger.setLevel(Level.ALL);
        logger.setUseParentHandlers(false);
        try (Session session = Transcoder.session().name("jul").open()) {
            assertThrows(TranscoderException.class, () -> session.audioEncoder(AudioCodec.AAC).sampleRate(44000)
                    .channels(1).bitrate(64_000).open());
        } finally {
            logger.removeHandler(handler);
            logger.setLevel(before);
            logger.setUseParentHandlers(true);
        }
        handler.flush();
        String lines = text.toString(StandardCharsets.UTF_8);
        assertTrue(lines.contains("FINE TranscoderSession.isCUDAAvailable[jul]"), lines);
        assertTrue(lines.contains("WARNING AudioEncoderAAC.initialize[jul/audio encoder 0]"), lines);
    }
}
