package com.corvane.cvx.transcoder.host;

import com.corvane.cvx.transcoder.PictureType;
import com.corvane.cvx.transcoder.VideoPacket;

import java.io.IOException;
import java.util.ArrayDeque;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.PriorityQueue;

/**
 * Gives decode times to video packets that carry presentation times only.
 * The library hands packets over in decode order; with B-frames their
 * presentation times are out of order. The n-th decode time is the n-th
 * smallest presentation time, and every presentation time is moved later by
 * one fixed shift, the stream's reordering depth, so that no frame is
 * presented before it is decoded. The shift is measured on the first window
 * of packets and then kept, so audio moves by the same amount and stays in
 * sync.
 */
final class DecodeTimeline {
    /** Receives each packet with its times, in decode order. */
    interface Sink {
        void write(VideoPacket packet, long presentation, long decode) throws IOException;
    }

    /** More frames than any encoder reorders across. */
    static final int WINDOW = 24;

    private final ArrayDeque<VideoPacket> pending = new ArrayDeque<>();
    private final PriorityQueue<Long> times = new PriorityQueue<>();
    private final Sink sink;
    private long shift = -1;
    private long lastDecode = Long.MIN_VALUE;

    DecodeTimeline(Sink sink) {
        this.sink = sink;
    }

    void add(VideoPacket packet) throws IOException {
        pending.add(packet);
        times.add(packet.timecode());
        if (pending.size() > WINDOW) {
            release();
        }
    }

    void finish() throws IOException {
        while (!pending.isEmpty()) {
            release();
        }
    }

    /** The shift applied to presentation times; 0 until the first packet is released. */
    long shift() {
        return Math.max(shift, 0);
    }

    boolean shiftKnown() {
        return shift >= 0;
    }

    private void release() throws IOException {
        if (shift < 0) {
            shift = measureShift();
        }
        VideoPacket packet = pending.poll();
        long rank = times.poll();
        long presentation = packet.timecode() + shift;
        // Should a later stretch reorder deeper than the shift allows, the
        // decode time gives way (it only has to rise and stay at or before the
        // presentation time); presentation times are never bent while room is left.
        long decode = Math.max(lastDecode + 1, Math.min(rank, presentation));
        presentation = Math.max(presentation, decode);
        lastDecode = decode;
        sink.write(packet, presentation, decode);
    }

    /**
     * The deepest reordering in the first window. B-frames used as references
     * reorder two frames deep, and a window may show only shallower groups, so
     * a stream with B-frames gets at least two frame steps.
     */
    private long measureShift() {
        List<Long> sorted = new ArrayList<>(times);
        Collections.sort(sorted);
        long most = 0;
        long step = Long.MAX_VALUE;
        boolean bidirectional = false;
        int i = 0;
        for (VideoPacket p : pending) {
            most = Math.max(most, sorted.get(i) - p.timecode());
            if (i > 0 && sorted.get(i) > sorted.get(i - 1)) {
                step = Math.min(step, sorted.get(i) - sorted.get(i - 1));
            }
            bidirectional |= p.pictureType() == PictureType.BIDIRECTIONAL;
            i++;
        }
        if (bidirectional && step != Long.MAX_VALUE) {
            most = Math.max(most, 2 * step);
        }
        return most;
    }
}
