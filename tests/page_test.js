// The page in a browser, behind a real web server, with real media and the real program.
const {deepEqual, equal, match} = require('node:assert/strict'), {after, before, test} = require('node:test');
const {execFileSync} = require('node:child_process'), fs = require('node:fs'), {chromium} = require('playwright-core');

const PACKAGE = '/var/packages/Lumetra', DATABASE = PACKAGE + '/var/lumetra.db', HOSTILE = '<img src=x> Été à Łódź';
const HOST = '127.0.0.1:18090', SITE = 'http://media.test:18090/lumetra/';  // not a "secure context", as in a house
const FLAGS = ('--headless --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking ' +
  '--disable-component-update --disable-sync').split(' ').concat('--host-resolver-rules=MAP media.test 127.0.0.1');
const run = (program, ...options) => execFileSync(program, options).toString();
let browser, page;

before(async () => {
  for (const folder of ['/mnt/media', PACKAGE + '/page']) fs.mkdirSync(folder, {recursive: true});
  run('../tools/make-samples', '/mnt/media');
  run('ffmpeg', ...'-v error -f lavfi -i sine=d=4 -metadata artist=Ærø -metadata'.split(' '), 'title=' + HOSTILE, '/mnt/media/short.flac');
  run(PACKAGE + '/target/bin/media-index', '--page', PACKAGE + '/page', '/mnt/media');
  fs.writeFileSync('/mnt/server.conf', 'server.document-root = "/mnt/media"\nserver.port = 18090\nserver.bind = "127.0.0.1"\n' +
    fs.readFileSync('../packaging/lighttpd.conf'));
  execFileSync('/usr/sbin/lighttpd', ['-f', '/mnt/server.conf'], {uid: 33, gid: 33, env: {}});
  browser = await chromium.launchPersistentContext('/mnt/profile', {executablePath: '/usr/bin/chromium', args: FLAGS});
  page = await browser.newPage();
});
after(() => browser?.close());

// Opens the page anew, with another library where one is given.
const open = async (body, status = 200) => {
  if (body !== undefined) await page.route('**/library.json', (route) => route.fulfill({status, body}));
  await page.goto(SITE);
};
const row = (title) => page.getByRole('row', {name: title});
const titles = () => page.locator('.row:visible .title').allTextContents();
const tells = (text) => page.getByRole('alert').filter({hasText: text}).waitFor();
const plays = (title) => page.waitForFunction((name) =>
  audio.currentTime > 0.1 && !audio.paused && document.getElementById('now-title').textContent === name, title);
const press = async (keys) => { for (const key of keys.split(' ')) await page.keyboard.press(key); };
async function saved(button) {
  const [download] = await Promise.all([page.waitForEvent('download'), page.getByRole('button', {name: button}).click()]);
  return fs.readFileSync(await download.path(), 'utf8').trim().split('\n');
}

// The pitch of the left channel, 300 Hz and 40 more each second, tells the place that is heard.
test('what is heard is the place that was sought, in each format', async () => {
  await open();
  await page.evaluate(() => {
    const sound = new AudioContext(), analyser = new AnalyserNode(sound, {fftSize: 8192}), levels = new Float32Array(4096);
    sound.createMediaElementSource(audio).connect(sound.createChannelSplitter(2)).connect(analyser, 0);
    addEventListener('click', () => sound.resume());
    heardAt = () => analyser.getFloatFrequencyData(levels) ?? (levels.indexOf(Math.max(...levels)) * sound.sampleRate / 8192 - 300) / 40;
  });
  for (const [format, place] of [['wav', 14], ['wav', 3], ['mp3', 14], ['mp3', 3]]) {
    await page.selectOption('#format', format);
    await row('Melody-in-AAC').click().then(() => plays('Melody-in-AAC'));
    await page.getByLabel('Position').fill(String(place));
    await page.waitForFunction((from) => audio.played.length === 2 && Math.abs(audio.played.start(1) - from) < 0.5 &&
      [audio.currentTime, heardAt()].every((time) => time > from + 0.5 && time < from + 4), place);
  }
});

test('every word is searched for, and the keys do all of it', async () => {
  await open();
  for (const [words, found] of [['aero lodz', 1], ['aac MELODY', 1], ['nobody ete', 0], ['', 5], ['melody', 3]]) {
    equal((await page.fill('#search', words).then(titles)).length, found, words);
  }
  const [, second, third] = await titles();
  for (const [keys, title] of [['ArrowDown ArrowDown Enter', second], ['ArrowRight ArrowRight', third], ['p', second]]) {
    await press(keys).then(() => plays(title));
  }
  equal(await press('Space d').then(() => page.evaluate(() => audio.paused)), true);
  await page.getByRole('button', {name: 'Copy: WAV'}).click();
  await press('Escape / Control+V');
  match(await page.inputValue('#search'), /^http:\/\/media.test:18090\/lumetra\/transcoder.cgi\?id=\d+&format=wav$/);
});

test('playlists name every item by its whole address', async () => {
  await open();
  const lines = await page.click('#playlists').then(() => saved(/^Download all/));
  const network = run('curl', '-s', (await page.getByLabel('All music').first().inputValue()).replace('media.test:18090', HOST));
  deepEqual([lines.join('\n').replaceAll(SITE, '') + '\n', lines[9]], [network, `#EXTINF:4,Ærø - ${HOSTILE}`]);
  equal(run('curl', '-s', lines[10].replace('media.test:18090', HOST), '-o', '/dev/null', '-w', '%{size_download}'), '80000');
  equal((await press('Escape ArrowDown d').then(() => saved(/of the album/))).length, 9);
  await page.goto(SITE + '#videos').then(() => row('Two-languages').click());
  match(await page.getByRole('textbox', {name: 'Video, MPEG'}).inputValue(), /media.*&type=video&format=m2ts$/);
});

test('what does not play is told, and does not end the music', async () => {
  const [first, , third, refused] = await open().then(titles);
  fs.unlinkSync('/mnt/media/melody.flac');
  run('sqlite3', DATABASE, `DELETE FROM music WHERE title = '${refused}'`);
  await row(refused).click().then(() => tells('The server refuses it (500)'));
  await row(first).click().then(() => page.getByLabel('Position').fill('19'));
  await tells('“Melody” cannot be played. Its file may be gone');
  await plays(third);
  await page.click('text=Radio');
  for (const [station, told] of [['file:///a', 'begins with http'], [HOST + '/none', 'No sound comes'], [HOST + '/cover.mp3']]) {
    await page.getByLabel('Address of the station').fill(station);
    await press('Enter').then(() => told ? tells(told) : plays(HOST));
  }
  equal(await page.locator('.station').textContent(), `http://${HOST}/cover.mp3`);
  await page.click('#toggle');
  equal(await page.locator('audio').evaluate((audio) => audio.hasAttribute('src')), false);
  await page.click('#toggle').then(() => plays(HOST));
});

test('a large library has few elements, and no library a remedy', async () => {
  await open(JSON.stringify({music: Array.from({length: 20000}, (_, i) => ({id: i + 1, title: `Title ${i}`})), video: []}));
  await page.focus('#grid');
  for (const [key, place] of [['End', 19999], ['ArrowUp', 19998], ['Home', 0], ['ArrowDown', 1]]) {
    await press(key);
    await page.locator(`#${await page.getAttribute('#grid', 'aria-activedescendant')} .title >> text="Title ${place}"`).hover();
    equal(await page.locator('*').count() < 800, true);
  }
  for (const [body, status] of [['', 404], ['{"music":[', 200], ['{"music":[],"video":[]}', 200]]) {
    await open(body, status).then(() => page.getByText('media-index --page').waitFor());
  }
});
