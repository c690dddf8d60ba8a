package com.corvane.cvx.transcoder.host;

import java.util.ArrayList;
import java.util.Collections;
import java.util.List;

/** The renditions of one run, in the order the library numbers them. */
public final class LadderSpec {
    /** Three H.264 rungs with aligned key frames and one VP8 rung, all fitted by letterbox. */
    public static final List<String> DEFAULT = List.of(
            "h264:1280x720:2500k:letterbox",
            "h264:854x480:1200k:letterbox",
            "h264:640x360:700k:letterbox",
            "vp8:640x360:700k:letterbox");

    private final List<RenditionSpec> renditions;

    private LadderSpec(List<RenditionSpec> renditions) {
        this.renditions = Collections.unmodifiableList(renditions);
    }

    public static LadderSpec parse(List<String> texts) throws HostException {
        List<RenditionSpec> out = new ArrayList<>();
        for (String text : texts.isEmpty() ? DEFAULT : texts) {
            out.add(RenditionSpec.parse(text));
        }
        return new LadderSpec(out);
    }

    public static LadderSpec defaults() {
        try {
            return parse(List.of());
        } catch (HostException e) {
            throw new IllegalStateException("the default ladder does not parse", e);
        }
    }

    public List<RenditionSpec> renditions() {
        return renditions;
    }

    public boolean hasH264() {
        return renditions.stream().anyMatch(RenditionSpec::isH264);
    }

    public boolean hasVp8() {
        return renditions.stream().anyMatch(r -> !r.isH264());
    }
}
