package com.corvane.cvx.transcoder.host;

import java.util.ArrayList;
import java.util.List;
import java.util.Locale;

/**
 * One rung's media playlist: the segments written so far, the figures the master playlist needs, and the
 * text. It is an event playlist: segments are only ever added, so the media sequence stays 0, and the
 * end tag comes when the stream ends.
 */
final class HlsMediaPlaylist {
    record Segment(String uri, long durationMillis, long bytes) {
    }

    private final List<Segment> segments = new ArrayList<>();
    private final long targetMillis;
    private long totalMillis;
    private long totalBytes;
    private long longestMillis;

    /** @param targetMillis the length after which a segment is cut at the next key frame */
    HlsMediaPlaylist(long targetMillis) {
        this.targetMillis = targetMillis;
    }

    void add(Segment segment) {
        segments.add(segment);
        totalMillis += segment.durationMillis();
        totalBytes += segment.bytes();
        longestMillis = Math.max(longestMillis, segment.durationMillis());
    }

    boolean isEmpty() {
        return segments.isEmpty();
    }

    /**
     * Whole seconds that every segment's duration, rounded to the nearest second, stays within. A segment
     * runs from the target to the next key frame, so a source whose key frames do not divide the target
     * makes it longer than the target from the first segment on; only key frames spaced further apart
     * later in the stream can make it grow once the playlist is out.
     */
    int targetDuration() {
        return (int) Math.max(1, Math.max(roundedSeconds(targetMillis), roundedSeconds(longestMillis)));
    }

    private static long roundedSeconds(long millis) {
        return (millis + 500) / 1000;
    }

    /**
     * The peak segment bit rate: the highest rate of any run of consecutive segments lasting between half
     * and one and a half target durations, so that one short segment (the last) does not stand for the
     * stream. With no such run, the average.
     */
    long peakBitrate() {
        long target = targetDuration() * 1000L;
        double peak = 0;
        for (int i = 0; i < segments.size(); i++) {
            long millis = 0;
            long bytes = 0;
            for (int j = i; j < segments.size() && millis <= target * 3 / 2; j++) {
                millis += segments.get(j).durationMillis();
                bytes += segments.get(j).bytes();
                if (millis * 2 >= target && millis * 2 <= target * 3) {
                    peak = Math.max(peak, bytes * 8000.0 / millis);
                }
            }
        }
        return peak > 0 ? Math.round(peak) : averageBitrate();
    }

    long averageBitrate() {
        return totalMillis > 0 ? Math.round(totalBytes * 8000.0 / totalMillis) : 0;
    }

    String text(boolean ended) {
        StringBuilder b = new StringBuilder(128 + 40 * segments.size());
        b.append("#EXTM3U\n#EXT-X-VERSION:3\n");
        b.append("#EXT-X-TARGETDURATION:").append(targetDuration()).append('\n');
        b.append("#EXT-X-MEDIA-SEQUENCE:0\n#EXT-X-PLAYLIST-TYPE:EVENT\n#EXT-X-INDEPENDENT-SEGMENTS\n");
        for (Segment s : segments) {
            b.append("#EXTINF:").append(seconds(s.durationMillis())).append(",\n").append(s.uri()).append('\n');
        }
        if (ended) {
            b.append("#EXT-X-ENDLIST\n");
        }
        return b.toString();
    }

    /** Milliseconds as seconds with three decimals, exactly. */
    static String seconds(long millis) {
        return String.format(Locale.ROOT, "%d.%03d", millis / 1000, millis % 1000);
    }
}
