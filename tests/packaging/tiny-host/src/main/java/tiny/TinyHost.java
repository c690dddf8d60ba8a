package tiny;

import com.corvane.cvx.transcoder.H264Settings;
import com.corvane.cvx.transcoder.LogEntry;
import com.corvane.cvx.transcoder.Rendition;
import com.corvane.cvx.transcoder.Session;
import com.corvane.cvx.transcoder.Transcoder;
import com.corvane.cvx.transcoder.VideoCodec;
import com.corvane.cvx.transcoder.VideoEncoder;

import java.util.ArrayList;
import java.util.List;

/** Builds a one-rung session with nothing but the jar, and prints what the library said. */
public final class TinyHost {
    public static void main(String[] args) {
        List<LogEntry> log = new ArrayList<>();
        try (Session session = Transcoder.session().name("tiny").logSink(log::add).open()) {
            session.videoDecoder(VideoCodec.H264).threads(1).open();
            Rendition rendition = session.rendition(320, 240).add();
            VideoEncoder encoder = session.videoEncoder(VideoCodec.H264).rendition(rendition)
                    .h264(H264Settings.Profile.MAIN, H264Settings.Preset.VERYFAST).frameRate(25).bitrate(400_000)
                    .open();
            session.drainLog();
            System.out.println("tiny host: bit rate " + encoder.get(H264Settings.BITRATE).orElse(-1));
        }
        for (LogEntry e : log) {
            System.out.println("tiny host: log " + e.message());
        }
    }
}
