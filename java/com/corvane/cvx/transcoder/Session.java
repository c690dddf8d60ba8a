package com.corvane.cvx.transcoder;

import com.corvane.cvx.transcoder.model.TranscoderLogStatement;
import com.corvane.cvx.transcoder.model.TranscoderSessionNative;

import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.concurrent.ConcurrentHashMap;

/**
 * One stream's transcoding session. Build it once (decoders, renditions, encoders), run the stream through
 * it, close it. Calls on one session must come from one thread at a time; {@link #drainLog()} and the
 * overlay setters may run beside them, from any thread. Every failure answered by the library is a
 * {@link TranscoderException}; the log is drained into the session's {@link LogSink} before it is thrown.
 *
 * <p>Nothing here copies media: compressed input goes to the natives as the caller's array, and packets come
 * back in the arrays the natives made.
 */
public final class Session implements AutoCloseable {
    /** Opens a session: {@link Transcoder#session()}. */
    public static final class Builder {
        private String name;
        private LogSink logSink = LogSink.javaLogging();

        Builder() {
        }

        /** The stream's name: it stands in the log lines where the library writes {@code {context}}. */
        public Builder name(String name) {
            this.name = name;
            return this;
        }

        public Builder logSink(LogSink sink) {
            this.logSink = sink;
            return this;
        }

        public Session open() {
            TranscoderSessionNative lib = Transcoder.natives();
            long handle = lib.createInstance();
            if (handle == 0) {
                throw new TranscoderException("createInstance", 0, null);
            }
            return new Session(lib, handle, name, logSink);
        }
    }

    final TranscoderSessionNative lib;
    private final String name;
    private final LogSink logSink;
    /** Guards the handle's end against a drain on another thread. */
    private final Object logLock = new Object();
    private final List<TranscoderLogStatement> statements = new ArrayList<>();
    private final Map<Long, String> contextNames = new ConcurrentHashMap<>();
    private volatile long handle;
    private volatile String lastFault;
    private int bufferSets;
    private boolean hasRenditions;

    private Session(TranscoderSessionNative lib, long handle, String name, LogSink logSink) {
        this.lib = lib;
        this.handle = handle;
        this.name = name;
        this.logSink = logSink;
    }

    public VideoDecoder.Builder videoDecoder(VideoCodec codec) {
        return new VideoDecoder.Builder(this, codec);
    }

    public AudioDecoder.Builder audioDecoder(AudioCodec codec) {
        return new AudioDecoder.Builder(this, codec);
    }

    /** A rendition: one picture size that every decoded picture is scaled into, in every buffer set. */
    public Rendition.Builder rendition(int width, int height) {
        return new Rendition.Builder(this, width, height);
    }

    public VideoEncoder.Builder videoEncoder(VideoCodec codec) {
        return new VideoEncoder.Builder(this, codec);
    }

    public AudioEncoder.Builder audioEncoder(AudioCodec codec) {
        return new AudioEncoder.Builder(this, codec);
    }

    /**
     * Makes {@code count} buffer sets, before the first rendition (which otherwise makes one). With several,
     * a host transfers into set n while encoders still read set n - 1.
     */
    public void bufferSets(int count) {
        if (hasRenditions || bufferSets > 0) {
            throw new IllegalStateException("buffer sets are made once, before the first rendition");
        }
        if (count < 1) {
            throw new IllegalArgumentException("buffer sets: " + count);
        }
        check(lib.videoEncoderBufferSetsCreate(handle(), count), "videoEncoderBufferSetsCreate");
        bufferSets = count;
    }

    public int bufferSetCount() {
        return bufferSets;
    }

    /** Lays a picture over the decoded pictures, so over every rendition; keys give the stacking order. */
    public void setDecoderOverlay(int key, Overlay overlay) {
        lib.videoDecoderBufferSetOverlayVideoFrame(handle(), key, overlay.frame());
    }

    public void removeDecoderOverlay(int key) {
        lib.videoDecoderBufferSetOverlayVideoFrame(handle(), key, null);
    }

    /**
     * Hands the library's log lines to the sink, process-wide ones first, with {@code {context}} filled in.
     * Each queue keeps at most 1000 lines between drains, so a long-running host drains regularly; failures
     * and {@link #close()} drain too. Safe from any thread.
     *
     * @return the number of lines drained
     */
    public int drainLog() {
        synchronized (logLock) {
            long h = handle;
            if (h == 0) {
                return 0;
            }
            statements.clear();
            lib.getLogStatements(h, statements);
            for (TranscoderLogStatement s : statements) {
                LogEntry.Source source = LogEntry.Source.of(s.contextType);
                String context = contextName(source, s.contextIndex);
                LogEntry entry = new LogEntry(LogEntry.Level.of(s.level), source, s.contextIndex, context,
                        s.format(context));
                if (entry.isFault()) {
                    lastFault = entry.message();
                }
                logSink.accept(entry);
            }
            return statements.size();
        }
    }

    /** The last fault line drained so far, or null. */
    public String lastFault() {
        return lastFault;
    }

    public String name() {
        return name;
    }

    /** The raw handle, for calls through {@link Transcoder#natives()}; valid until {@link #close()}. */
    public long nativeHandle() {
        return handle();
    }

    public boolean isOpen() {
        return handle != 0;
    }

    /** Drains the log one last time and destroys the session with everything in it. Idempotent. */
    @Override
    public void close() {
        synchronized (logLock) {
            long h = handle;
            if (h == 0) {
                return;
            }
            try {
                drainLog();
            } finally {
                handle = 0;
                lib.destroyInstance(h);
            }
        }
    }

    long handle() {
        long h = handle;
        if (h == 0) {
            throw new IllegalStateException("the session is closed");
        }
        return h;
    }

    /** Throws for a failure status, once the log that may explain it is drained. */
    void check(long status, String export) {
        if (TranscoderSessionNative.failed(status)) {
            drainLog();
            throw new TranscoderException(export, status, lastFault);
        }
    }

    /** Before the first rendition: a buffer set, if the host made none. */
    void prepareRendition() {
        if (bufferSets == 0) {
            check(lib.videoEncoderBufferSetsCreate(handle(), 1), "videoEncoderBufferSetsCreate");
            bufferSets = 1;
        }
        hasRenditions = true;
    }

    void nameContext(LogEntry.Source source, int index, String contextName) {
        if (contextName != null) {
            contextNames.put(key(source, index), contextName);
        }
    }

    private String contextName(LogEntry.Source source, int index) {
        String own = contextNames.get(key(source, index));
        String component = own != null ? own : switch (source) {
            case PROCESS -> "process";
            case SESSION -> name != null ? name : "session";
            case VIDEO_DECODER -> "video decoder";
            case AUDIO_DECODER -> "audio decoder";
            case VIDEO_ENCODER -> "video encoder " + index;
            case AUDIO_ENCODER -> "audio encoder " + index;
        };
        boolean inStream = source != LogEntry.Source.PROCESS && source != LogEntry.Source.SESSION;
        return name != null && inStream ? name + "/" + component : component;
    }

    private static long key(LogEntry.Source source, int index) {
        return ((long) source.ordinal() << 32) | (index & 0xFFFFFFFFL);
    }
}
