package com.corvane.cvx.transcoder;

/**
 * One line of the library's log, with {@code {context}} already replaced by {@code contextName}: the name
 * the host gave the session or the codec, else a plain one ("video encoder 2").
 */
public record LogEntry(Level level, Source source, int index, String contextName, String message) {
    public enum Level {
        PROGRESS,
        FAULT;

        static Level of(int number) {
            return number >= 3 ? FAULT : PROGRESS;
        }
    }

    /** Who wrote the line; {@code index} tells encoders apart. */
    public enum Source {
        PROCESS,
        SESSION,
        VIDEO_DECODER,
        VIDEO_ENCODER,
        AUDIO_DECODER,
        AUDIO_ENCODER;

        static Source of(int contextType) {
            return switch (contextType) {
                case 1 -> VIDEO_DECODER;
                case 2 -> VIDEO_ENCODER;
                case 3 -> AUDIO_DECODER;
                case 4 -> AUDIO_ENCODER;
                case 0 -> SESSION;
                default -> PROCESS;
            };
        }
    }

    public boolean isFault() {
        return level == Level.FAULT;
    }
}
