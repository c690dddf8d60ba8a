package com.corvane.cvx.transcoder.host;

import java.io.IOException;
import java.util.ArrayDeque;

/**
 * Merges a video and an audio stream into one time order. Encoders deliver
 * late by different amounts (a video lookahead holds many frames, audio comes
 * out at once), so each side waits until the other has shown where it is.
 */
final class Interleaver<T> {
    /** Receives items in time order. */
    interface Sink<T> {
        void write(T item, boolean video) throws IOException;
    }

    /**
     * Past this many waiting items on one side the other side is taken to
     * have ended, so a stream whose audio stops does not hold the video in memory.
     */
    private static final int MAX_WAITING = 4000;

    private record Entry<T>(long time, T item) {
    }

    private final ArrayDeque<Entry<T>> video = new ArrayDeque<>();
    private final ArrayDeque<Entry<T>> audio = new ArrayDeque<>();
    private final boolean withAudio;
    private final Sink<T> sink;

    Interleaver(boolean withAudio, Sink<T> sink) {
        this.withAudio = withAudio;
        this.sink = sink;
    }

    void addVideo(long time, T item) throws IOException {
        video.add(new Entry<>(time, item));
        drain(false);
    }

    void addAudio(long time, T item) throws IOException {
        if (withAudio) {
            audio.add(new Entry<>(time, item));
            drain(false);
        }
    }

    /** Writes everything still waiting, in time order. */
    void finish() throws IOException {
        drain(true);
    }

    private void drain(boolean all) throws IOException {
        while (!video.isEmpty() || !audio.isEmpty()) {
            boolean haveBoth = !video.isEmpty() && !audio.isEmpty();
            boolean takeVideo;
            if (haveBoth) {
                takeVideo = video.peek().time() <= audio.peek().time();
            } else if (all || !withAudio || video.size() + audio.size() > MAX_WAITING) {
                takeVideo = !video.isEmpty();
            } else {
                return;
            }
            Entry<T> e = takeVideo ? video.poll() : audio.poll();
            sink.write(e.item(), takeVideo);
        }
    }
}
