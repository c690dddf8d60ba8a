package com.corvane.cvx.transcoder.host;

import java.nio.file.Path;

/** One rung while it runs: its library indices, its writer and its figures. */
final class RenditionOutput {
    final RenditionPlan plan;
    final Path file;
    /** The rendition's item in the encoder buffer set. */
    int item = -1;
    int encoder = -1;
    MediaWriter writer;
    boolean closed;
    boolean hasAudio;
    long packets;
    long encodeNanos;

    RenditionOutput(RenditionPlan plan, Path file) {
        this.plan = plan;
        this.file = file;
    }

    String name() {
        return file.getFileName().toString();
    }
}
