package com.corvane.cvx.transcoder;

/**
 * A native call answered failure. Carries the export's name, the status (-1 when the boundary itself failed,
 * 4294967295 when the session did) and the library's last fault line, with its context filled in.
 */
public class TranscoderException extends RuntimeException {
    private static final long serialVersionUID = 1L;

    private final String export;
    private final long status;
    private final String lastFault;

    public TranscoderException(String export, long status, String lastFault) {
        super(export + " answered failure, status " + status + (lastFault != null ? " (" + lastFault + ")" : ""));
        this.export = export;
        this.status = status;
        this.lastFault = lastFault;
    }

    /** The native method that failed, as {@code videoEncoderInitialize}. */
    public String export() {
        return export;
    }

    public long status() {
        return status;
    }

    /** The session's last level-3 log line, or null when it has logged no fault. */
    public String lastFault() {
        return lastFault;
    }
}
