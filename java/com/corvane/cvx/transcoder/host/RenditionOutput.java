package com.corvane.cvx.transcoder.host;

import com.corvane.cvx.transcoder.PacketSink;
import com.corvane.cvx.transcoder.Rendition;
import com.corvane.cvx.transcoder.VideoEncoder;
import com.corvane.cvx.transcoder.VideoPacket;

import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

/** One rung while it runs: its rendition and encoder, its writer and its figures. */
final class RenditionOutput {
    final RenditionPlan plan;
    /** The rung's file, or its folder of HLS segments. */
    final Path file;
    /** How the summary names it. */
    final String name;
    Rendition rendition;
    VideoEncoder encoder;
    /** One picture's packets, gathered while the encoder is timed and written after. */
    final List<VideoPacket> pending = new ArrayList<>();
    final PacketSink<VideoPacket, RuntimeException> collect = pending::add;
    MediaWriter writer;
    boolean closed;
    boolean hasAudio;
    long packets;
    long encodeNanos;

    RenditionOutput(RenditionPlan plan, Path file, String name) {
        this.plan = plan;
        this.file = file;
        this.name = name;
    }
}
