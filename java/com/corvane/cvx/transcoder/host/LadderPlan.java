package com.corvane.cvx.transcoder.host;

import java.util.ArrayList;
import java.util.Collections;
import java.util.List;

/** The renditions of one run, in the order the library numbers them. */
public final class LadderPlan {
    /** Three H.264 rungs with aligned key frames and one VP8 rung, all fitted by letterbox. */
    public static final List<String> DEFAULT = List.of(
            "h264:1280x720:2500k:letterbox",
            "h264:854x480:1200k:letterbox",
            "h264:640x360:700k:letterbox",
            "vp8:640x360:700k:letterbox");

    private final List<RenditionPlan> renditions;

    private LadderPlan(List<RenditionPlan> renditions) {
        this.renditions = Collections.unmodifiableList(renditions);
    }

    public static LadderPlan parse(List<String> texts) throws HostException {
        List<RenditionPlan> out = new ArrayList<>();
        for (String text : texts.isEmpty() ? DEFAULT : texts) {
            out.add(RenditionPlan.parse(text));
        }
        return new LadderPlan(out);
    }

    public static LadderPlan defaults() {
        try {
            return parse(List.of());
        } catch (HostException e) {
            throw new IllegalStateException("the default ladder does not parse", e);
        }
    }

    public List<RenditionPlan> renditions() {
        return renditions;
    }

    public boolean hasH264() {
        return renditions.stream().anyMatch(RenditionPlan::isH264);
    }

    public boolean hasVp8() {
        return renditions.stream().anyMatch(r -> !r.isH264());
    }
}
