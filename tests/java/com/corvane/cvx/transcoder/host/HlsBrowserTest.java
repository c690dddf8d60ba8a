package com.corvane.cvx.transcoder.host;

import static org.junit.jupiter.api.Assertions.*;

import com.corvane.cvx.transcoder.testing.Media;
import com.sun.net.httpserver.*;

import java.io.*;
import java.net.*;
import java.nio.charset.StandardCharsets;
import java.nio.file.*;
import java.util.*;
import java.util.concurrent.TimeUnit;

import org.junit.jupiter.api.*;

/** The HLS ladder played by hls.js in headless Chromium: it plays, switches rungs when told, never fails. */
class HlsBrowserTest {
    static final Path CHROMIUM = Path.of("/usr/bin/chromium");

    /** Serves the page, the player library and the HLS folder, with the types a player expects. */
    static HttpServer serve(Path page, Path player, Path hls) throws IOException {
        Map<String, String> types = Map.of("html", "text/html; charset=utf-8", "js", "text/javascript",
                "m3u8", "application/vnd.apple.mpegurl", "ts", "video/mp2t");
        HttpServer server = HttpServer.create(new InetSocketAddress(InetAddress.getLoopbackAddress(), 0), 0);
        server.createContext("/", (HttpExchange exchange) -> {
            String path = exchange.getRequestURI().getPath();
            Path file = path.equals("/") ? page : path.equals("/hls.min.js") ? player
                    : hls.resolve(path.startsWith("/hls/") ? path.substring(5) : "-").normalize();
            if (!Files.isRegularFile(file) || file != page && file != player && !file.startsWith(hls)) {
                exchange.sendResponseHeaders(404, -1);
                exchange.close();
                return;
            }
            String name = file.getFileName().toString();
            exchange.getResponseHeaders().set("Content-Type",
                    types.getOrDefault(name.substring(name.lastIndexOf('.') + 1), "application/octet-stream"));
            byte[] body = Files.readAllBytes(file);
            exchange.sendResponseHeaders(200, body.length);
            try (OutputStream out = exchange.getResponseBody()) {
                out.write(body);
            }
        });
        server.start();
        return server;
    }

    @Test
    void chromiumPlaysTheLadderAndSwitchesRungs() throws Exception {
        if (!Files.isExecutable(CHROMIUM)) {
            String why = "HlsBrowserTest skipped: Chromium is not installed (" + CHROMIUM
                    + "); bash scripts/setup.sh installs Debian's chromium";
            System.err.println(why);
            Assumptions.abort(why);
        }
        Path browser = Path.of(System.getProperty("cvx.test.browser"));
        Path modules = Path.of(System.getProperty("cvx.test.node")).resolve("node_modules");
        Path player = modules.resolve("hls.js/dist/hls.min.js");
        assertTrue(Files.isRegularFile(player) && Files.isDirectory(modules.resolve("playwright-core")),
                "the browser test's npm packages are missing from " + modules + ": run bash scripts/setup.sh");

        Path in = Media.fixture("hls-browser-in.flv", "-f", "lavfi", "-i", "testsrc2=size=640x360:rate=25:duration=10",
                "-f", "lavfi", "-i", "sine=frequency=440:duration=10:sample_rate=44100", "-c:v", "libx264", "-bf", "2",
                "-g", "50", "-c:a", "aac", "-ac", "2", "-f", "flv");
        Path hls = Media.file("hls-browser").toAbsolutePath();
        ReferenceHostTest.Run run = ReferenceHostTest.host("-q", "-o", Media.file("hls-browser-out").toString(),
                "--hls", hls.toString(), "--hls-segment", "2", "-r", "h264:640x360:800k", "-r", "h264:320x180:300k",
                in.toString());
        assertEquals(0, run.exitCode(), run.err());

        Path screenshot = Media.file("hls-browser.png");
        Files.deleteIfExists(screenshot);
        HttpServer server = serve(browser.resolve("player.html"), player, hls);
        Map<String, String> seen = new HashMap<>();
        String text;
        try {
            ProcessBuilder node = new ProcessBuilder("node", browser.resolve("play_hls.js").toString(),
                    "http://127.0.0.1:" + server.getAddress().getPort() + "/?src=/hls/master.m3u8",
                    screenshot.toString());
            node.environment().put("NODE_PATH", modules.toString());
            node.environment().put("CVX_CHROMIUM", CHROMIUM.toString());
            node.redirectErrorStream(true);
            Process p = node.start();
            text = new String(p.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
            assertTrue(p.waitFor(90, TimeUnit.SECONDS), "the browser run ends");
            assertEquals(0, p.exitValue(), text);
        } finally {
            server.stop(0);
        }
        text.lines().filter(l -> l.indexOf('=') > 0)
                .forEach(l -> seen.put(l.substring(0, l.indexOf('=')), l.substring(l.indexOf('=') + 1).trim()));
        assertEquals(null, seen.get("failure"), text);
        assertEquals("", seen.get("fatal"), "no fatal player error: " + text);
        // hls.js lists the rungs by bit rate: "WxH@bandwidth:codecs ...".
        String[] levels = seen.get("levels").split(" ");
        assertEquals(2, levels.length, text);
        assertTrue(seen.get("levels").contains("640x360@") && seen.get("levels").contains("320x180@"),
                "both rungs from the master playlist: " + text);
        assertTrue(Double.parseDouble(seen.get("before.time")) > 1, "playing: " + text);
        int target = Integer.parseInt(seen.get("target"));
        assertEquals(target, Integer.parseInt(seen.get("after.level")), text);
        assertEquals(target, Integer.parseInt(seen.get("after.fragmentLevel")), "playing the new rung: " + text);
        assertEquals(levels[Integer.parseInt(seen.get("before.level"))].split("x")[0], seen.get("before.width"), text);
        assertEquals(levels[target].split("x")[0], seen.get("after.width"), "the picture takes the new rung's size: "
                + text);
        assertTrue(Double.parseDouble(seen.get("after.time")) > Double.parseDouble(seen.get("before.time")) + 1,
                "the time advances after the switch: " + text);
        assertTrue(Long.parseLong(seen.get("after.frames")) > Long.parseLong(seen.get("before.frames")),
                "pictures are decoded: " + text);
        assertTrue(Files.size(screenshot) > 10_000, "a screenshot of the page");
    }
}
