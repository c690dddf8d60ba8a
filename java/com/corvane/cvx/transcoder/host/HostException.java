package com.corvane.cvx.transcoder.host;

/**
 * A failure the reference host reports as one clear line and an exit code,
 * never as a stack trace: a user mistake, an unusable input, a library status.
 */
public final class HostException extends Exception {
    private static final long serialVersionUID = 1L;

    /** Bad command line: an unknown option or a rendition that does not parse. */
    public static final int USAGE = 2;
    /** The input is missing, unreadable, not FLV, or uses a codec the library lacks. */
    public static final int INPUT = 3;
    /** The library could not be loaded or answered a status of failure. */
    public static final int LIBRARY = 4;
    /** An output file could not be written. */
    public static final int OUTPUT = 5;

    private final int exitCode;

    public HostException(int exitCode, String message) {
        super(message);
        this.exitCode = exitCode;
    }

    public int exitCode() {
        return exitCode;
    }
}
