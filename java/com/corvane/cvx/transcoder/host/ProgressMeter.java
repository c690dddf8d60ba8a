package com.corvane.cvx.transcoder.host;

import java.io.PrintStream;
import java.util.Locale;

/**
 * The progress line: pictures, pictures per second and speed as a multiple of
 * real time. On a terminal it rewrites one line; otherwise it prints a line
 * now and then, so logs stay readable.
 */
final class ProgressMeter implements TranscodeSession.Progress {
    private final PrintStream out;
    private final boolean enabled;
    private final boolean terminal;
    private final long start = System.nanoTime();
    private final long intervalNanos;
    private long lastPrint;
    private long pictures;
    private long mediaMillis;
    private boolean printed;

    ProgressMeter(PrintStream out, boolean enabled, boolean terminal) {
        this.out = out;
        this.enabled = enabled;
        this.terminal = terminal;
        this.intervalNanos = terminal ? 250_000_000L : 5_000_000_000L;
        this.lastPrint = start;
    }

    @Override
    public void update(long pictures, long mediaMillis) {
        this.pictures = pictures;
        this.mediaMillis = Math.max(this.mediaMillis, mediaMillis);
        long now = System.nanoTime();
        if (enabled && now - lastPrint >= intervalNanos) {
            lastPrint = now;
            print(false);
        }
    }

    double elapsedSeconds() {
        return (System.nanoTime() - start) / 1e9;
    }

    String line() {
        double seconds = Math.max(elapsedSeconds(), 1e-9);
        return String.format(Locale.ROOT, "frames %6d  fps %6.1f  speed %5.2fx  time %s", pictures,
                pictures / seconds, mediaMillis / 1000.0 / seconds, clock(mediaMillis));
    }

    /** The last line, kept on screen when the run ends. */
    void done() {
        if (enabled && (printed || terminal)) {
            print(true);
        }
    }

    private void print(boolean last) {
        printed = true;
        if (terminal) {
            out.print("\r" + line() + (last ? "\n" : ""));
        } else {
            out.println(line());
        }
        out.flush();
    }

    static String clock(long millis) {
        long s = millis / 1000;
        return String.format(Locale.ROOT, "%02d:%02d:%02d.%01d", s / 3600, (s / 60) % 60, s % 60, (millis % 1000) / 100);
    }
}
