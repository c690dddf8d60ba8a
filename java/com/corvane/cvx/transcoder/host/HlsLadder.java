package com.corvane.cvx.transcoder.host;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.util.ArrayList;
import java.util.List;

/**
 * The HLS output of a run: one folder per H.264 rung (an {@link HlsWriter}) and the master playlist that
 * names them. The master appears once every rung has a segment out, so that it can name each rung's codecs
 * and measured bit rate, and is rewritten when those figures move; at the end of the stream it holds the
 * final ones. Every playlist is written under a temporary name and renamed into place, so a player
 * polling it never reads half a file.
 */
final class HlsLadder {
    static final String MASTER = "master.m3u8";

    private final Path folder;
    private final long targetMillis;
    private final List<HlsWriter> rungs = new ArrayList<>();
    private String published;

    HlsLadder(Path folder, long targetMillis) throws IOException {
        this.folder = Files.createDirectories(folder);
        this.targetMillis = targetMillis;
        // A player must not find an earlier run's playlist before this run's first segments are out.
        Files.deleteIfExists(master());
    }

    Path master() {
        return folder.resolve(MASTER);
    }

    /** A rung in the subfolder {@code name}; rungs are listed in the order they are added. */
    HlsWriter rung(String name, int width, int height, double frameRate, AudioFormat audio, long origin)
            throws IOException {
        HlsWriter rung = new HlsWriter(this, folder.resolve(name), width, height, frameRate, audio, origin,
                targetMillis);
        rungs.add(rung);
        return rung;
    }

    /** Called by a rung when it has published a segment. */
    void segmentCompleted() throws IOException {
        StringBuilder text = new StringBuilder("#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-INDEPENDENT-SEGMENTS\n");
        for (HlsWriter rung : rungs) {
            String variant = rung.variant();
            if (variant == null) {
                return;
            }
            text.append(variant);
        }
        if (!text.toString().equals(published)) {
            publish(master(), text.toString());
            published = text.toString();
        }
    }

    /** Replaces a playlist whole: written beside it, then renamed over it. */
    static void publish(Path file, String text) throws IOException {
        Path temporary = file.resolveSibling(file.getFileName() + ".tmp");
        Files.writeString(temporary, text);
        Files.move(temporary, file, StandardCopyOption.ATOMIC_MOVE, StandardCopyOption.REPLACE_EXISTING);
    }
}
