// Drives Debian's Chromium through player.html: plays the master playlist, forces a switch to another rung,
// takes a screenshot, and prints what it saw as name=value lines for the Java test to judge.
//   NODE_PATH=build/node/node_modules node play_hls.js URL SCREENSHOT.png
'use strict';
const { chromium } = require('playwright-core');
const fs = require('fs');
const os = require('os');
const path = require('path');

const STEP_TIMEOUT_MS = 20000;

function look(page) {
  return page.evaluate(() => {
    const video = document.getElementById('video');
    const last = window.player.fragments[window.player.fragments.length - 1];
    return {
      level: window.hls.currentLevel,
      width: video.videoWidth,
      height: video.videoHeight,
      time: video.currentTime,
      frames: video.getVideoPlaybackQuality().totalVideoFrames,
      fragmentLevel: last ? last.level : -1,
    };
  });
}

function report(out, prefix, seen) {
  for (const [key, value] of Object.entries(seen)) out.push(`${prefix}.${key}=${value}`);
}

async function main() {
  const [url, screenshot] = process.argv.slice(2);
  const profile = fs.mkdtempSync(path.join(os.tmpdir(), 'cvx-chromium-'));
  const out = [];
  let context;
  try {
    context = await chromium.launchPersistentContext(profile, {
      executablePath: process.env.CVX_CHROMIUM || '/usr/bin/chromium',
      headless: true,
      args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
        '--disable-background-networking', '--disable-component-update', '--disable-sync'],
      viewport: { width: 680, height: 500 },
    });
    const page = context.pages()[0] || await context.newPage();
    page.on('pageerror', e => out.push(`pageerror=${e.message}`));
    await page.goto(url);

    // Playing: the time passes one second on the rung hls.js started with.
    await page.waitForFunction(() => window.player.fatal !== null
      || (window.player.levels.length > 0 && document.getElementById('video').currentTime > 1),
    null, { timeout: STEP_TIMEOUT_MS });
    const before = await look(page);
    report(out, 'before', before);
    const levels = await page.evaluate(() => window.player.levels);
    out.push(`levels=${levels.map(l => `${l.width}x${l.height}@${l.bitrate}:${l.codecs}`).join(' ')}`);

    // Switch to a rung of another picture size, and play on it for a second.
    const target = levels.findIndex(l => l.width !== levels[before.level].width);
    out.push(`target=${target}`);
    await page.evaluate(level => {
      window.switchedAt = document.getElementById('video').currentTime;
      window.hls.currentLevel = level;
    }, target);
    await page.waitForFunction(level => {
      const video = document.getElementById('video');
      const fragments = window.player.fragments;
      return window.player.fatal !== null || (video.videoWidth === window.player.levels[level].width
        && fragments.length > 0 && fragments[fragments.length - 1].level === level
        && video.currentTime > window.switchedAt + 1);
    }, target, { timeout: STEP_TIMEOUT_MS });
    // A moment on the new rung, so that the page's status shows it settled.
    await page.waitForTimeout(1500);
    report(out, 'after', await look(page));
    await page.screenshot({ path: screenshot });
  } catch (e) {
    out.push(`failure=${String(e.message).split('\n')[0]}`);
  } finally {
    if (context) {
      try {
        const page = context.pages()[0];
        const state = await page.evaluate(() => window.player);
        out.push(`switched=${state.switched.join(' ')}`);
        out.push(`fatal=${state.fatal === null ? '' : state.fatal}`);
        out.push(`errors=${state.errors.join('; ')}`);
      } catch (e) {
        out.push(`fatal=page unreadable: ${e.message}`);
      }
      await context.close();
    }
    fs.rmSync(profile, { recursive: true, force: true });
  }
  console.log(out.join('\n'));
}

main();
