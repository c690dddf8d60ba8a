package com.corvane.cvx.transcoder.host;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;

/**
 * What a host must know before frames flow: the codecs, the decoder
 * configurations, the first audio packet (from which the audio format is
 * learned) and the frame rate, estimated from the presentation times of the
 * first frames. It reads the head of the file only.
 */
public final class InputProbe {
    private static final int MAX_TAGS = 2000;
    private static final int RATE_FRAMES = 60;

    /** -1 when the input has no video, else the FLV video codec id. */
    public int videoCodec = -1;
    public byte[] videoConfig;
    /** -1 when the input has no audio, else the FLV sound format. */
    public int audioCodec = -1;
    public byte[] audioConfig;
    /** The first audio packet that is not a configuration record. */
    public FlvReader.Tag firstAudio;
    public double frameRate = 25.0;
    /** The earliest time of the stream in milliseconds: outputs start from here. */
    public long origin = Long.MAX_VALUE;

    public static InputProbe read(Path file) throws HostException {
        if (!Files.exists(file)) {
            throw new HostException(HostException.INPUT, "input not found: " + file);
        }
        if (!Files.isRegularFile(file) || !Files.isReadable(file)) {
            throw new HostException(HostException.INPUT, "input is not a readable file: " + file);
        }
        InputProbe probe = new InputProbe();
        List<Long> times = new ArrayList<>();
        try (FlvReader reader = new FlvReader(file)) {
            FlvReader.Tag tag;
            for (int n = 0; n < MAX_TAGS && (tag = reader.next()) != null; n++) {
                if (tag.type == FlvReader.TAG_VIDEO) {
                    probe.videoCodec = tag.codec;
                    if (tag.config) {
                        probe.videoConfig = tag.data;
                    } else {
                        probe.origin = Math.min(probe.origin, tag.presentationTime());
                        if (times.size() < RATE_FRAMES) {
                            times.add(tag.presentationTime());
                        }
                    }
                } else {
                    probe.audioCodec = tag.codec;
                    if (tag.config) {
                        probe.audioConfig = tag.data;
                    } else if (probe.firstAudio == null && tag.data.length > 0) {
                        probe.firstAudio = tag;
                        probe.origin = Math.min(probe.origin, tag.timestamp);
                    }
                }
                if (times.size() >= RATE_FRAMES && probe.firstAudio != null) {
                    break;
                }
            }
        } catch (IOException e) {
            throw new HostException(HostException.INPUT, "cannot read " + file + " as FLV: " + e.getMessage());
        }
        if (probe.videoCodec < 0) {
            throw new HostException(HostException.INPUT, "input has no video: " + file);
        }
        if (probe.origin == Long.MAX_VALUE) {
            probe.origin = 0;
        }
        probe.frameRate = estimateRate(times);
        return probe;
    }

    /**
     * The mean step between sorted presentation times, over the steps near the median one (gaps and repeats
     * left out); 25 fps when there are too few frames.
     */
    static double estimateRate(List<Long> presentationTimes) {
        List<Long> sorted = new ArrayList<>(presentationTimes);
        Collections.sort(sorted);
        List<Long> steps = new ArrayList<>();
        for (int i = 1; i < sorted.size(); i++) {
            long step = sorted.get(i) - sorted.get(i - 1);
            if (step > 0) {
                steps.add(step);
            }
        }
        if (steps.size() < 2) {
            return 25.0;
        }
        Collections.sort(steps);
        // Millisecond times round each step one way or the other (30 fps: 33, 34, 33, ...): the mean of all the
        // steps within a rounding of the median undoes that, where any one of them, or a part of them, does not.
        long median = steps.get(steps.size() / 2);
        long tolerance = Math.max(1, median / 4);
        double sum = 0;
        int count = 0;
        for (long step : steps) {
            if (Math.abs(step - median) <= tolerance) {
                sum += step;
                count++;
            }
        }
        double rate = 1000.0 / (sum / count);
        // Snap to the nearest common rate when the estimate is within half a percent of it.
        double nearest = 0;
        for (double common : new double[] {23.976, 24, 25, 29.97, 30, 48, 50, 59.94, 60}) {
            if (Math.abs(rate - common) / common < 0.005
                    && (nearest == 0 || Math.abs(rate - common) < Math.abs(rate - nearest))) {
                nearest = common;
            }
        }
        return nearest != 0 ? nearest : Math.round(rate * 1000) / 1000.0;
    }

    public static String videoCodecName(int codec) {
        return switch (codec) {
            case 2 -> "Sorenson Spark";
            case 3 -> "Screen Video";
            case 4 -> "VP6";
            case 5 -> "VP6 with alpha";
            case 6 -> "Screen Video 2";
            case 7 -> "H.264";
            default -> "video codec " + codec;
        };
    }

    public static String audioCodecName(int codec) {
        return switch (codec) {
            case 0, 3 -> "PCM";
            case 1 -> "ADPCM";
            case 2 -> "MP3";
            case 4, 5, 6 -> "Nellymoser";
            case 7 -> "G.711 A-law";
            case 8 -> "G.711 mu-law";
            case 10 -> "AAC";
            case 11 -> "Speex";
            default -> "audio codec " + codec;
        };
    }
}
