package com.corvane.cvx.transcoder.host;

import com.corvane.cvx.transcoder.Transcoder;

import java.io.IOException;
import java.io.PrintStream;
import java.nio.file.Files;
import java.util.Locale;

/**
 * The reference host: transcodes an FLV file into a ladder of renditions
 * through the library's Java API, as a media server would. Prints a
 * progress line while it runs and a table of the renditions at the end.
 * Every failure is one line on the error stream and an exit code (see
 * {@link HostException}); user mistakes never show a stack trace.
 */
public final class ReferenceHost {
    private ReferenceHost() {
    }

    public static void main(String[] args) {
        int code = run(args, System.out, System.err);
        System.exit(code);
    }

    /** Runs the host and answers its exit code, without exiting: tests call this. */
    public static int run(String[] args, PrintStream out, PrintStream err) {
        try {
            HostOptions options = HostOptions.parse(args);
            if (options.help) {
                out.println(HostOptions.usage());
                return 0;
            }
            transcode(options, out, err);
            return 0;
        } catch (HostException e) {
            err.println("error: " + e.getMessage());
            return e.exitCode();
        }
    }

    private static void transcode(HostOptions options, PrintStream out, PrintStream err) throws HostException {
        // A missing input is the commonest mistake: say so before anything loads.
        InputProbe.read(options.input);
        Watermark watermark = options.watermark != null ? Watermark.load(options.watermark) : null;
        try {
            Files.createDirectories(options.outputDir);
        } catch (IOException e) {
            throw new HostException(HostException.OUTPUT, "cannot create the output folder " + options.outputDir
                    + ": " + e.getMessage());
        }
        load();
        ProgressMeter progress = new ProgressMeter(err, !options.quiet, System.console() != null);
        try (TranscodeSession session = new TranscodeSession(options, err)) {
            session.open(options.input, watermark);
            InputProbe probe = session.probe();
            out.printf(Locale.ROOT, "input  %s: %s %.3f fps%s%n", options.input,
                    InputProbe.videoCodecName(probe.videoCodec), probe.frameRate, describeAudio(session));
            session.run(options.input, progress);
            session.finish();
            progress.done();
            printSummary(out, session, progress.elapsedSeconds());
            out.println("outputs in " + options.outputDir.toAbsolutePath().normalize());
            if (session.hlsMaster() != null) {
                out.println("HLS master playlist " + session.hlsMaster().toAbsolutePath().normalize());
            }
        }
    }

    private static void load() throws HostException {
        try {
            Transcoder.natives();
        } catch (UnsatisfiedLinkError | NoClassDefFoundError | SecurityException e) {
            throw new HostException(HostException.LIBRARY, "cannot load the transcoder library ("
                    + e.getMessage() + "); set -Dcvx.transcoder.library=/path/to/libcvx-transcoder.so");
        }
    }

    private static String describeAudio(TranscodeSession session) {
        InputProbe probe = session.probe();
        if (probe.audioCodec < 0) {
            return ", no audio";
        }
        AudioPath audio = session.audio();
        String name = InputProbe.audioCodecName(probe.audioCodec);
        if (audio == null) {
            return ", " + name + " (not transcoded)";
        }
        return String.format(Locale.ROOT, ", %s %d Hz %d ch", name, audio.sampleRate(), audio.channels());
    }

    static void printSummary(PrintStream out, TranscodeSession session, double seconds) {
        out.println();
        String format = "%-34s %-6s %7s %9s %10s %10s %10s%n";
        out.printf(Locale.ROOT, format, "rendition", "audio", "frames", "duration", "bitrate", "size", "encode fps");
        for (RenditionOutput r : session.outputs()) {
            long bytes = r.writer.bytesWritten();
            long frames = r.writer.videoSpan().frames();
            double duration = r.writer.videoSpan().durationMillis() / 1000.0;
            double kbps = duration > 0 ? bytes * 8 / duration / 1000 : 0;
            double encodeFps = r.encodeNanos > 0 ? r.packets / (r.encodeNanos / 1e9) : 0;
            out.printf(Locale.ROOT, format, r.name, r.hasAudio ? (r.plan.isH264() ? "aac" : "vorbis") : "none",
                    frames, String.format(Locale.ROOT, "%.2f s", duration),
                    String.format(Locale.ROOT, "%.0f kb/s", kbps), size(bytes),
                    String.format(Locale.ROOT, "%.1f", encodeFps));
        }
        out.printf(Locale.ROOT, "decoded %d of %d frames in %.2f s: %.1f fps%n", session.pictures(),
                session.videoPacketsIn(), seconds, session.pictures() / Math.max(seconds, 1e-9));
    }

    private static String size(long bytes) {
        if (bytes >= 1 << 20) {
            return String.format(Locale.ROOT, "%.2f MiB", bytes / 1048576.0);
        }
        return String.format(Locale.ROOT, "%.1f KiB", bytes / 1024.0);
    }
}
