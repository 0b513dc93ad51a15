// The page in a browser, behind a real web server, with real media and the real program.
'use strict';
const {deepEqual, equal, match, ok} = require('node:assert/strict');
const {execFileSync} = require('node:child_process');
const fs = require('node:fs');
const {after, before, test} = require('node:test');
const {chromium} = require('playwright-core');

const PACKAGE = '/var/packages/Lumetra', DATABASE = PACKAGE + '/var/lumetra.db', SAMPLES = '/mnt/samples';
const HOST = '127.0.0.1:18090', SITE = 'http://media.test:18090/lumetra/';  // as from afar: no "secure context"
const HOSTILE = '<img src=x onerror=alert(1)> Été à Łódź';
const run = (program, ...options) => execFileSync(program, options).toString();
const list = (table) => `(SELECT json_group_array(json_object('id', id, 'title', title, 'artist', artist, 'album', album,
  'duration', duration, 'matroska', json(iif(path LIKE '%.mkv', 'true', 'false')))) FROM (SELECT * FROM ${table} ORDER BY path))`;
let browser, page;

before(async () => {
  fs.mkdirSync(SAMPLES);
  run('../tools/make-samples', SAMPLES);
  run('ffmpeg', ...'-v error -f lavfi -i sine=d=4 -metadata artist=Ærø -metadata album=Other -metadata'.split(' '),
    'title=' + HOSTILE, SAMPLES + '/short.flac');
  run(PACKAGE + '/target/bin/media-index', SAMPLES);
  fs.mkdirSync(PACKAGE + '/page', {recursive: true});
  fs.writeFileSync(PACKAGE + '/page/library.json',
    run('sqlite3', DATABASE, `SELECT json_object('music', ${list('music')}, 'video', ${list('video')})`));
  fs.writeFileSync('/mnt/server.conf', `server.document-root = "${SAMPLES}"\nserver.port = 18090\n` +
    'server.bind = "127.0.0.1"\n' + fs.readFileSync('../packaging/lighttpd.conf'));
  execFileSync('/usr/sbin/lighttpd', ['-f', '/mnt/server.conf'], {uid: 33, gid: 33, env: {}});
  browser = await chromium.launchPersistentContext('/mnt/profile', {executablePath: '/usr/bin/chromium',
    args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
      '--disable-component-update', '--disable-sync', '--host-resolver-rules=MAP media.test 127.0.0.1']});
  page = browser.pages()[0];
});
after(() => browser?.close());

// Opens the page anew, with another library where one is given.
async function open(body, status = 200) {
  await page.goto('about:blank');
  await page.unroute('**/library.json');
  if (body !== undefined) await page.route('**/library.json', (route) => route.fulfill({status, body}));
  await page.goto(SITE);
}
const row = (title) => page.getByRole('row', {name: title});
const titles = () => page.locator('.row:visible .title').allTextContents();
const tells = (text) => page.getByRole('alert').filter({hasText: text}).waitFor();
const plays = (title) => page.waitForFunction((name) => !audio.paused && audio.currentTime > 0.1 &&
  document.getElementById('now-title').textContent === name, title);
async function press(...keys) {
  for (const key of keys) await page.keyboard.press(key);
}
async function saved(button) {
  const [download] = await Promise.all([page.waitForEvent('download'), page.getByRole('button', {name: button}).click()]);
  return fs.readFileSync(await download.path(), 'utf8').trim().split('\n');
}

test('every word is searched for, without case and accents', async () => {
  await open();
  for (const [words, found] of [['', 5], ['MELODY aac', 1], ['ete lodz', 1], ['aero', 1], ['nobody samples', 4], ['nobody ete', 0]]) {
    await page.fill('#search', words);
    equal((await titles()).length, found, words);
  }
  await page.fill('#search', 'onerror');
  deepEqual([await titles(), await page.locator('#rows img').count()], [[HOSTILE], 0]);
});

// The pitch of the left channel, 300 Hz and 40 more each second, tells the place that is heard.
test('what is heard is the place that was sought, in each format', async () => {
  await open();
  await page.evaluate(() => {
    const sound = new AudioContext(), analyser = new AnalyserNode(sound, {fftSize: 8192}), levels = new Float32Array(4096);
    sound.createMediaElementSource(audio).connect(sound.createChannelSplitter(2)).connect(analyser, 0);
    addEventListener('click', () => sound.resume());
    window.heardAt = () => analyser.getFloatFrequencyData(levels) ??
      (levels.indexOf(Math.max(...levels)) * sound.sampleRate / 8192 - 300) / 40;
  });
  for (const format of ['mp3', 'wav']) {
    await page.selectOption('#format', format);
    await row('Melody-in-AAC').click();
    await plays('Melody-in-AAC');
    for (const place of [14, 3, 9]) {
      await page.getByLabel('Position').fill(String(place));
      await page.waitForFunction((from) => Math.abs(audio.currentTime - from - 1.5) < 1, place);
      const [heard, told] = await page.evaluate(() => [heardAt(), audio.currentTime]);
      ok(Math.abs(heard - told) < 1, `${format}: ${heard} is heard at ${told}`);
    }
  }
});

test('the next item follows, and the keys do all of it', async () => {
  await open();
  await press('/', ...'melody', 'ArrowDown', 'ArrowDown', 'Enter');
  const [, second, third] = await titles();
  await plays(second);
  await press('ArrowRight', 'ArrowRight');
  await plays(third);
  await press(' ');
  await page.waitForFunction(() => audio.paused);
  await press('p');
  await plays(second);
  equal(await page.evaluate(() => navigator.mediaSession.metadata.title), second);
  await press('d');
  await page.getByRole('button', {name: 'Copy: WAV'}).click();
  await press('Escape', '/', 'Control+V');
  match(await page.inputValue('#search'), /^http:\/\/media.test:18090\/lumetra\/transcoder.cgi\?id=\d+&format=wav$/);
});

test('playlists name every item by its whole address', async () => {
  await open();
  await page.selectOption('#format', 'mp3');
  await page.click('#playlists');
  const lines = await saved(/^Download all/);
  deepEqual([lines[0], lines.length, lines[9]], ['#EXTM3U', 11, `#EXTINF:4,Ærø - ${HOSTILE}`]);
  equal(run('curl', '-s', lines[10].replace('media.test:18090', HOST), '-o', '/dev/null', '-w', '%{size_download}'), '80000');
  await press('Escape');
  await row('Large-cover').getByRole('button').click();
  equal((await saved(/of the album/)).length, 9);
  await page.goto(SITE + '#videos');
  await row('Two-languages').click();
  match(await page.getByRole('textbox', {name: 'Video, MPEG'}).inputValue(), /media.*&type=video&format=m2ts$/);
});

test('what does not play is told, and does not end the music', async () => {
  await open();
  const [first, , third, refused] = await titles();
  fs.unlinkSync(SAMPLES + '/melody.flac');
  run('sqlite3', DATABASE, `DELETE FROM music WHERE title = '${refused}'`);
  await row(refused).click();
  await tells('The server refuses it (500)');
  await row(first).click();
  await plays(first);
  equal(await page.getByRole('alert').filter({hasText: /./}).count(), 0);
  await page.getByLabel('Position').fill('19');
  await tells('“Melody” cannot be played. Its file may be gone');
  await plays(third);
});

test('a station plays and is remembered; another is told of', async () => {
  await open();
  await page.click('text=Radio');
  for (const [station, told] of [['file:///etc/passwd', 'begins with http'], [HOST + '/none', 'No sound comes'], [HOST + '/cover.mp3']]) {
    await page.getByLabel('Address of the station').fill(station);
    await press('Enter');
    await (told ? tells(told) : plays(HOST));
  }
  await page.reload();
  deepEqual(await page.locator('#recent .station').allTextContents(), [`http://${HOST}/cover.mp3`]);
});

test('a large library has few elements, and no library a remedy', async () => {
  const music = Array.from({length: 20000}, (_, i) => ({id: i + 1, title: `Title ${i}`, artist: 'A', album: 'B', duration: 60}));
  await open(JSON.stringify({music, video: []}));
  await page.focus('#grid');
  for (const [key, place] of [['End', 19999], ['ArrowUp', 19998], ['Home', 0], ['ArrowDown', 1]]) {
    await press(key);
    const active = page.locator('#' + await page.getAttribute('#grid', 'aria-activedescendant'));
    equal(await active.locator('.title').textContent(), 'Title ' + place);
    await active.hover();  // nothing hides it
    ok(await page.locator('*').count() < 800);
  }
  for (const [body, status, text] of [['', 404, 'no library yet'], ['{"music":[', 200, 'be read'], ['{"music":[],"video":[]}', 200, 'is empty']]) {
    await open(body, status);
    await page.getByText(text).waitFor();
    ok(await page.getByText('media-index --page').isVisible());
  }
});
