'use strict';

const $ = (id) => document.getElementById(id);
const [search, grid, audio, seek] = ['search', 'grid', 'audio', 'seek'].map($);

// ---- what is remembered; a browser may forbid it ------------------------------------------------

function recall(name, fallback) {
  try {
    return JSON.parse(localStorage.getItem('lumetra.' + name)) ?? fallback;
  } catch {
    return fallback;
  }
}

function remember(name, value) {
  try {
    localStorage.setItem('lumetra.' + name, JSON.stringify(value));
  } catch { /* it lasts as long as the page */ }
}

// ---- text ---------------------------------------------------------------------------------------

const letters = {ẞ: 'SS', Ø: 'O', Æ: 'AE', Œ: 'OE', Ł: 'L', Đ: 'D', Ð: 'D', Þ: 'TH'};

/** Text as it is searched: without case, accents (also Hebrew and Arabic points) and ligatures. */
function fold(text) {
  return text.normalize('NFKD').replace(/[\u0300-\u036f\u0591-\u05c7\u064b-\u065f\u0670]/g, '')
    .toUpperCase().replace(/[ẞØÆŒŁĐÐÞ]/g, (letter) => letters[letter]);
}

function clock(seconds) {
  const [h, m, s] = [seconds / 3600, seconds / 60 % 60, seconds % 60].map(Math.floor);
  return (h ? h + ':' + String(m).padStart(2, '0') : m) + ':' + String(s).padStart(2, '0');
}

const count = (number, noun) => number.toLocaleString('en') + ' ' + noun + (number === 1 ? '' : 's');

// ---- items and their addresses ------------------------------------------------------------------

/** The formats of an item's streams with what they are; the first is what a player should take. */
function formats(item) {
  if (item.matroska) return [['m2ts', 'Video, MPEG transport stream']];
  if (item.video) return [['mp3', 'Sound of the video, MP3']];
  const all = [['mp3', 'MP3, 128 kbit/s'], ['wav', 'WAV'], ['pcm', 'Raw samples, L16 big-endian']];
  return $('format').value === 'wav' ? [all[1], all[0], all[2]] : all;
}

// The page stands beside the program, wherever that is.
const absolute = (relative) => new URL(relative, document.baseURI).href;
const stream = (item, format = formats(item)[0][0]) => absolute(item.radio ?
  `transcoder.cgi?id=${library.music[0].id}&format=mp3&radio=${encodeURIComponent(item.radio)}` :
  `transcoder.cgi?id=${item.id}${item.video ? '&type=video' : ''}&format=${format}`);

function readItems(list, video) {
  const text = (value) => typeof value === 'string' ? value : '';
  return list.filter((entry) => Number.isSafeInteger(entry?.id)).map((entry, place) => {
    const [artist, album] = [text(entry.artist), text(entry.album)];
    const title = text(entry.title).trim() || `Item ${entry.id}`;
    return {id: entry.id, title, artist, album, video, place, matroska: video && entry.matroska === true,
            duration: Math.max(0, Math.floor(entry.duration)) || 0,
            key: fold(title + '\n' + artist + '\n' + album)};
  });
}

/** What belongs to an item's album: the tracks around it that name the album, whoever plays them,
 * and the artist's others that do. */
function albumOf(item) {
  const all = library.music;
  let [first, last] = [item.place, item.place];
  while (all[first - 1]?.album === item.album) --first;
  while (all[last + 1]?.album === item.album) ++last;
  return all.filter((other) => other.album === item.album &&
    (other.artist === item.artist || (other.place >= first && other.place <= last)));
}

/** Hands a playlist of the items, with absolute addresses, to the browser as a download. */
function savePlaylist(name, items) {
  const lines = items.map((item) => {
    const label = (item.artist && item.artist + ' - ') + item.title;
    return `#EXTINF:${item.duration},${label.replace(/[\r\n\x85\u2028\u2029]+/g, ' ')}\n${stream(item)}\n`;
  });
  const link = document.createElement('a');
  link.href = URL.createObjectURL(new Blob(['#EXTM3U\n', ...lines], {type: 'application/x-mpegurl'}));
  link.download = name.replace(/[\\/:*?"<>|\x00-\x1f\x7f]+/g, '_').slice(0, 100) + '.m3u8';
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 60000);
}

// ---- the list: only the rows in sight exist -----------------------------------------------------

const sections = {music: 'Music', videos: 'Videos', radio: 'Radio'};
const library = {music: [], videos: []};
const rows = [];
const sorted = new Map();
const sorting = {column: '', down: false};
const collator = new Intl.Collator(undefined, {numeric: true, sensitivity: 'base'});
let [section, view, cursor, height, trouble] = ['music', [], 0, 0, {title: 'Loading the library …'}];

function ordered() {
  const {column} = sorting;
  if (!column) return library[section];
  const name = section + ' ' + column;
  if (!sorted.has(name)) {
    const compare = column === 'duration' ? (a, b) => a.duration - b.duration :
      (a, b) => !a[column] - !b[column] || collator.compare(a[column], b[column]);
    sorted.set(name, library[section].slice().sort(compare));
  }
  return sorting.down ? [...sorted.get(name)].reverse() : sorted.get(name);
}

/** Shows what the section, the search and the order leave. */
function refresh() {
  const all = library[section];
  const words = fold(search.value).split(/\s+/).filter(Boolean);
  view = ordered();
  if (words.length) view = view.filter((item) => words.every((word) => item.key.includes(word)));
  const seconds = view.reduce((sum, item) => sum + item.duration, 0);
  $('count').textContent = !all.length ? '' : view.length < all.length ?
    `${view.length.toLocaleString('en')} of ${count(all.length, 'title')}` :
    count(all.length, 'title') + (seconds < 60 ? '' : seconds < 3600 ? `, ${Math.round(seconds / 60)} min` :
      `, ${count(Math.round(seconds / 3600), 'hour')}`);
  $('playlists').disabled = !all.length;
  grid.setAttribute('aria-label', sections[section]);
  grid.setAttribute('aria-rowcount', view.length + 1);
  for (const header of grid.querySelectorAll('[data-column]')) {
    header.setAttribute('aria-sort', header.dataset.column !== sorting.column ? 'none' :
      sorting.down ? 'descending' : 'ascending');
  }
  cursor = 0;
  grid.scrollTop = 0;
  showMessage(trouble ?? (!library.music.length && !library.videos.length ? {
    title: 'The library is empty', command: true, button: 'Look again', act: load,
    text: 'The server has found no music and no videos. Have it index the folder that holds them:'
  } : !all.length ? {title: `There ${section === 'music' ? 'is no music' : 'are no videos'} in the library`} : !view.length ? {
    title: 'Nothing matches', text: 'No title, artist and album have all of these words.', button: 'Clear the search',
    act: () => { search.value = ''; refresh(); search.focus(); }
  } : null));
  measure();
}

function showMessage(message) {
  const box = $('message');
  box.hidden = !message;
  grid.hidden = Boolean(message);
  if (!message) return;
  const [title, text, command, button] = box.children;
  title.textContent = message.title;
  text.textContent = message.text ?? '';
  command.hidden = !message.command;
  button.hidden = !message.button;
  button.textContent = message.button ?? '';
  button.onclick = message.act;
}

/** Makes as many rows as the window needs, for its size and the reader's font. */
function measure() {
  const addRow = () => {
    rows.push($('row-template').content.firstElementChild.cloneNode(true));
    $('rows').append(rows[rows.length - 1]);
  };
  if (grid.hidden || section === 'radio') return;
  if (!rows.length) addRow();
  rows[0].hidden = false;
  height = rows[0].getBoundingClientRect().height;
  while (rows.length < Math.ceil(grid.clientHeight / height) + 12) addRow();
  $('rows').style.height = view.length * height + 'px';
  draw(true);
}

/** Brings the rows to where the list is scrolled to. They stay in the document's order. */
function draw(all) {
  const first = Math.max(0, Math.min(Math.floor(grid.scrollTop / height) - 6, view.length - rows.length));
  const moved = first - (rows[0].index ?? 0);
  if (moved > 0 && moved < rows.length) {
    const above = rows.splice(0, moved);
    rows.push(...above);
    $('rows').append(...above);
  } else if (moved < 0 && -moved < rows.length) {
    const below = rows.splice(moved);
    rows.unshift(...below);
    $('rows').prepend(...below);
  }
  rows.forEach((row, place) => {
    if (all || row.index !== first + place) fillRow(row, first + place);
  });
  if (rows.some((row) => row.index === cursor && !row.hidden)) {
    grid.setAttribute('aria-activedescendant', 'row-' + cursor);
  } else {
    grid.removeAttribute('aria-activedescendant');
  }
}

function fillRow(row, index) {
  const item = view[index];
  row.index = index;
  row.hidden = !item;
  if (!item) return;
  row.id = 'row-' + index;
  row.setAttribute('aria-rowindex', index + 2);
  row.style.transform = `translateY(${index * height}px)`;
  const [tile, title, artist, album, length, more] = row.children;
  fillTile(tile, item);
  title.textContent = item.title;
  artist.textContent = item.artist;
  album.textContent = item.album;
  length.textContent = clock(item.duration);
  more.firstElementChild.setAttribute('aria-label', 'Addresses of ' + item.title);
  row.classList.toggle('no-album', !item.album);
  row.classList.toggle('bare', !item.album && !item.artist);
  markRow(row);
}

function markRow(row) {
  row.setAttribute('aria-selected', row.index === cursor);
  if (view[row.index] === current) row.setAttribute('aria-current', 'true');
  else row.removeAttribute('aria-current');
}

/** A coloured initial stands for an album's cover. */
function fillTile(tile, item) {
  const name = item.album || item.artist || item.title;
  let hue = 7;
  for (let i = 0; i < Math.min(name.length, 64); ++i) hue = (hue * 31 + name.charCodeAt(i)) % 360;
  tile.style.setProperty('--hue', hue);
  tile.textContent = String.fromCodePoint(name.codePointAt(0)).toUpperCase();
}

function moveCursor(to) {
  cursor = Math.max(0, Math.min(view.length - 1, to));
  const [top, head] = [cursor * height, $('rows').offsetTop];
  const room = grid.clientHeight - head - height;
  grid.scrollTop = Math.max(top - room, Math.min(top, grid.scrollTop));
  draw();
  rows.forEach(markRow);
}

// ---- playing ------------------------------------------------------------------------------------

const skipped = 3;  // so many items in a row may fail before the playing ends
const patience = 20;  // seconds
const reserve = 3;    // seconds of a station
let [queue, place, current, failures, asked] = [[], -1, null, 0, true];
let [startAt, wanted, heard, seekTimer, watch, gathering, gathered] = [0, null, 0, 0, 0, 0, false];

const length = () => current?.duration || (Number.isFinite(audio.duration) ? audio.duration : 0);

function play(items, index) {
  if (!items[index]) return;
  [queue, place, failures] = [items, index, 0];
  begin(items[index]);
}

/** Starts an item; `byHand` tells that somebody asked for this very one. */
function begin(item, from = 0, byHand = true) {
  [current, startAt, wanted, heard, asked, gathered] = [item, from, null, from, byHand, false];
  clearTimeout(seekTimer);
  stopGathering();
  if (byHand) showAlert('');
  audio.src = stream(item);
  resume();
  showPlayer();
  rows.forEach(markRow);
  if (section === 'radio') showStations();
}

function resume() {
  if (!audio.hasAttribute('src')) return begin(current);  // currentSrc outlives it
  if (audio.error) return begin(current, audio.currentTime);
  expectSound();
  audio.play().catch((error) => {
    if (error.name === 'NotAllowedError') showPlayer();  // the browser wants a click first
  });
}

function toggle() {
  if (!current) return activate(cursor);
  if (audio.paused && !gathering) return resume();
  audio.pause();
  if (current.radio) silence();
}

/** Lets the stream go: a station does not wait for its listener. */
function silence() {
  stopGathering();
  audio.removeAttribute('src');
  audio.load();
  showPlayer();
}

/** A station that sends just in time would falter with each delay: once it does, a reserve is made. */
function gather() {
  gathered = true;
  gathering = setTimeout(() => { gathering = 0; resume(); }, reserve * 1000);
  audio.pause();
}

function stopGathering() {
  clearTimeout(gathering);
  gathering = 0;
}

function step(by, byHand = true) {
  const item = queue[place + by];
  if (by < 0 && (audio.currentTime > 5 || !item)) return seekTo(0);
  if (!item) return;
  place += by;
  begin(item, 0, byHand);
}

/** Seeks when the hand rests: each place is a conversion of its own on the server. */
function seekTo(seconds) {
  if (!current || current.radio) return;
  wanted = Math.max(0, Math.min(seconds, length()));
  showTime();
  clearTimeout(seekTimer);
  seekTimer = setTimeout(() => {
    const to = wanted;
    wanted = null;
    if (audio.error) begin(current, to);
    else if (audio.readyState > 0) audio.currentTime = to;
    else startAt = to;
    expectSound();
  }, 150);
}

/** A server or station that sends nothing is told of; so is what becomes of it. */
function expectSound() {
  clearTimeout(watch);
  watch = setTimeout(() => {
    if (audio.paused || audio.error) return;
    if (!current.radio) return showAlert(`Nothing of “${current.title}” has come for ${patience} seconds. Still waiting …`);
    silence();
    fail(`It has sent nothing for ${patience} seconds.`);
  }, patience * 1000);
}

async function fail(reason) {
  const item = current;
  clearTimeout(watch);
  reason ??= await diagnose(stream(item));
  if (item !== current) return;
  const goesOn = !asked && ++failures < skipped && place + 1 < queue.length;
  showAlert(`“${item.title}” cannot be played. ${reason}`, !goesOn);
  showPlayer();
  if (goesOn) step(1, false);
}

/** Why a stream has failed, in words for who can help. The program answers HEAD without a body. */
async function diagnose(address) {
  const code = audio.error?.code;
  try {
    const response = await fetch(address, {method: 'HEAD', cache: 'no-store'});
    if (!response.ok) {
      return `The server refuses it (${response.status}). The library may have changed: ` +
        'run media-index on the server, then reload this page.';
    }
  } catch {
    return 'The server does not answer. Is it switched on, and this device in its network?';
  }
  if (code === MediaError.MEDIA_ERR_NETWORK) return 'The connection was lost.';
  if (code === MediaError.MEDIA_ERR_DECODE) return 'It cannot be decoded, or this device has no sound output.';
  return current?.radio ? 'No sound comes from this address.' : 'Its file may be gone or damaged.';
}

function showAlert(text, again = false) {
  $('alert').textContent = text;
  $('dismiss').hidden = !text;
  $('again').hidden = !again;
}

function showPlayer() {
  const playing = current && !audio.error && (!audio.paused || gathering);
  document.body.classList.toggle('playing', Boolean(playing));
  $('toggle').querySelector('use').setAttribute('href', playing ? '#i-pause' : '#i-play');
  $('toggle').setAttribute('aria-label', playing ? 'Pause' : 'Play');
  $('previous').disabled = !current || Boolean(current.radio);
  $('next').disabled = !queue[place + 1];
  seek.disabled = !current || Boolean(current.radio);
  if (!current) return;
  const by = [current.artist, current.album].filter(Boolean).join(' · ');
  for (const [id, text] of [['now-title', current.title], ['now-by', by]]) {
    $(id).dir = 'auto';
    $(id).textContent = $(id).title = text;
  }
  fillTile($('now-tile'), current);
  document.title = (playing ? '▸ ' : '') + current.title + (current.artist && ' – ' + current.artist);
  showTime();
  if (!('mediaSession' in navigator)) return;
  const {title, artist, album} = current;
  navigator.mediaSession.metadata = new MediaMetadata({title, artist, album});
  navigator.mediaSession.playbackState = playing ? 'playing' : 'paused';
}

function showTime() {
  const whole = length();
  const now = Math.min(wanted ?? audio.currentTime, current?.radio ? Infinity : whole);
  seek.max = current?.radio ? 0 : whole;
  seek.value = now;
  seek.style.setProperty('--done', (whole && !current.radio ? 100 * now / whole : 0) + '%');
  seek.setAttribute('aria-valuetext', current?.radio ? 'live' : `${clock(now)} of ${clock(whole)}`);
  $('elapsed').textContent = clock(now);
  $('total').textContent = current?.radio ? 'live' : clock(whole);
}

/** The keys and the screen of the system show the place too. */
function tellPosition() {
  try {
    navigator.mediaSession.setPositionState(current.radio ? undefined :
      {duration: length(), position: Math.min(audio.currentTime, length())});
  } catch { /* not every browser takes it */ }
}

audio.addEventListener('loadedmetadata', () => {
  if (startAt) audio.currentTime = startAt;
  startAt = 0;
});
audio.addEventListener('timeupdate', () => {
  if (!audio.ended) heard = audio.currentTime;
  if (wanted === null) showTime();
});
audio.addEventListener('waiting', () => {
  document.body.classList.add('waiting');
  if (current.radio && audio.currentTime > 0 && !gathered) gather();
  else expectSound();
});
for (const name of ['play', 'pause']) audio.addEventListener(name, showPlayer);
for (const name of ['pause', 'playing', 'emptied']) {
  audio.addEventListener(name, () => { document.body.classList.remove('waiting'); clearTimeout(watch); });
}
audio.addEventListener('playing', () => {
  failures = 0;
  if (asked) showAlert('');
  asked = true;  // what fails from here on had begun well
  if (current.radio) rememberStation(current.radio);
  tellPosition();
});
audio.addEventListener('seeked', tellPosition);
audio.addEventListener('error', () => { if (audio.hasAttribute('src')) fail(); });
audio.addEventListener('ended', () => {
  if (current.radio) return fail('The station has ended its stream.');
  if (heard < current.duration - 5) {
    showAlert(`“${current.title}” has ended at ${clock(heard)} of ${clock(current.duration)}. Its file may be damaged.`);
  }
  step(1, false);
});

// ---- radio --------------------------------------------------------------------------------------

function stations() {
  const list = recall('stations', []);
  return Array.isArray(list) ? list.filter((address) => typeof address === 'string').slice(0, 20) : [];
}

function rememberStation(address) {
  remember('stations', [address, ...stations().filter((other) => other !== address)].slice(0, 20));
  showStations();
}

function playStation(text) {
  const address = /^[a-z][a-z0-9+.-]*:\/\//i.test(text) ? text : 'http://' + text;
  const wrong = !library.music.length ? 'The radio needs a library with at least one piece of music.' :
    !text ? 'Enter the address of a station.' :
    !/^(https?|rtsp|rtmp|mms):\/\/[^\s/]+/i.test(address) ?
      'An address begins with http, https, rtsp, rtmp or mms, followed by :// and a name.' : '';
  $('station-error').textContent = wrong;
  $('station').setAttribute('aria-invalid', Boolean(wrong));
  if (wrong) return $('station').focus();
  const name = address.replace(/^.*?:\/\//, '').replace(/[/?#].*/, '');
  play([{radio: address, title: name, artist: '', album: 'Radio', duration: 0}], 0);
}

function showStations() {
  const list = stations();
  $('recent-title').hidden = !list.length;
  $('recent').replaceChildren(...list.map((address) => {
    const entry = $('station-template').content.firstElementChild.cloneNode(true);
    const [station, forget] = entry.children;
    station.lastElementChild.textContent = station.title = address;
    station.onclick = () => playStation(address);
    if (current?.radio === address) station.setAttribute('aria-current', 'true');
    forget.setAttribute('aria-label', 'Forget ' + address);
    forget.onclick = () => {
      remember('stations', stations().filter((other) => other !== address));
      showStations();
      $('station').focus();
    };
    return entry;
  }));
}

// ---- addresses and playlists --------------------------------------------------------------------

function openSheet(title, by, actions, addresses) {
  const sheet = $('sheet');
  $('sheet-title').textContent = title;
  $('sheet-by').textContent = by;
  $('copied').textContent = '';
  sheet.querySelector('.actions').replaceChildren(...actions.map(([label, act]) => {
    const button = document.createElement('button');
    button.type = 'button';
    button.textContent = label;
    button.onclick = act;
    return button;
  }));
  sheet.querySelector('.addresses').replaceChildren(...addresses.map(([label, address]) => {
    const entry = $('address-template').content.firstElementChild.cloneNode(true);
    const [labelled, copyButton, link] = entry.children;
    labelled.firstElementChild.textContent = label;
    labelled.lastElementChild.value = link.href = address;
    copyButton.setAttribute('aria-label', 'Copy: ' + label);
    copyButton.onclick = () => copy(labelled.lastElementChild);
    link.setAttribute('aria-label', 'Open: ' + label);
    return entry;
  }));
  sheet.showModal();
}

/** Without https there is no clipboard; the old command, or the selected text, has to do. */
async function copy(field) {
  let done = false;
  try {
    await navigator.clipboard.writeText(field.value);
    done = true;
  } catch {
    field.focus();
    field.select();
    done = document.execCommand('copy');
  }
  $('copied').textContent = done ? 'Copied.' : 'The address is selected: copy it with Ctrl+C.';
}

function openItem(item) {
  const actions = [['Download as playlist', () => savePlaylist(item.title, [item])]];
  if (!item.matroska) actions.unshift(['Play', () => { $('sheet').close(); activate(view.indexOf(item)); }]);
  if (item.album && !item.video) {
    const tracks = albumOf(item);
    actions.push([`Playlist of the album (${tracks.length})`, () => savePlaylist(item.album, tracks)]);
  }
  openSheet(item.title, [item.artist, item.album].filter(Boolean).join(' · '), actions,
    formats(item).map(([format, label]) => [label, stream(item, format)]));
}

function openPlaylists() {
  const [all, found] = [library[section], view];
  const actions = [[`Download all (${all.length.toLocaleString('en')})`, () => savePlaylist(section, all)]];
  if (found.length && found.length < all.length) {
    actions.push([`Download what is found (${found.length.toLocaleString('en')})`,
                  () => savePlaylist(section + ' ' + search.value.trim(), found)]);
  }
  openSheet('Playlists', 'M3U8, for VLC, Kodi, mpv and other players in the house', actions,
    section === 'music' ? [['All music, to open over the network', absolute('music.m3u8')]] : []);
}

/** Plays an item, or tells where a player that can does find it. */
function activate(index) {
  const item = view[index];
  if (item?.matroska) openItem(item);
  else if (item) play(view.filter((other) => !other.matroska), view.slice(0, index).filter((other) => !other.matroska).length);
}

// ---- pointer and keys ---------------------------------------------------------------------------

let frame = 0;
grid.addEventListener('scroll', () => {
  frame ||= requestAnimationFrame(() => { frame = 0; draw(); });
}, {passive: true});
window.addEventListener('resize', () => measure());

$('rows').addEventListener('click', (event) => {
  const row = event.target.closest('.row');
  if (!row) return;
  moveCursor(row.index);
  grid.classList.remove('keys');
  grid.focus({preventScroll: true});
  if (event.target.closest('.more')) openItem(view[row.index]);
  else activate(row.index);
});
for (const header of grid.querySelectorAll('[data-column]')) {
  // Up, down, and as the folders are.
  header.firstElementChild.onclick = () => {
    const {column} = header.dataset;
    if (sorting.column !== column) [sorting.column, sorting.down] = [column, false];
    else if (!sorting.down) sorting.down = true;
    else [sorting.column, sorting.down] = ['', false];
    refresh();
  };
}

search.addEventListener('input', () => {
  if (section === 'radio') location.hash = 'music';
  else refresh();
});
search.form.addEventListener('submit', (event) => { event.preventDefault(); grid.focus(); });
search.addEventListener('keydown', (event) => {
  if (event.key === 'ArrowDown') { event.preventDefault(); grid.focus(); }
  if (event.key === 'Escape' && search.value) { search.value = ''; refresh(); }
});

grid.addEventListener('keydown', (event) => {
  if (event.target !== grid || event.ctrlKey || event.altKey || event.metaKey) return;
  const page = Math.max(1, Math.floor(grid.clientHeight / height) - 2);
  const act = {
    ArrowDown: () => moveCursor(cursor + 1), ArrowUp: () => moveCursor(cursor - 1),
    PageDown: () => moveCursor(cursor + page), PageUp: () => moveCursor(cursor - page),
    Home: () => moveCursor(0), End: () => moveCursor(view.length - 1),
    Enter: () => activate(cursor), n: () => step(1), p: () => step(-1), m: () => $('mute').click(),
    d: () => view[cursor] && openItem(view[cursor])
  }[event.key.length === 1 ? event.key.toLowerCase() : event.key];
  if (!act) return;
  event.preventDefault();
  grid.classList.add('keys');
  act();
});
document.addEventListener('keydown', (event) => {
  if (event.defaultPrevented || event.ctrlKey || event.altKey || event.metaKey) return;
  if (document.querySelector('dialog[open]') || event.target.closest('input, select')) return;
  const act = {
    '/': () => { search.focus(); search.select(); }, '?': () => $('help').showModal(),
    ' ': event.target.closest('button, a') ? null : toggle,
    ArrowDown: () => grid.focus(), ArrowUp: () => grid.focus(),
    ArrowLeft: () => seekTo((wanted ?? audio.currentTime) - 10),
    ArrowRight: () => seekTo((wanted ?? audio.currentTime) + 10)
  }[event.key];
  if (!act) return;
  event.preventDefault();
  act();
});

$('toggle').onclick = toggle;
$('previous').onclick = () => step(-1);
$('next').onclick = () => step(1);
$('again').onclick = () => begin(current, audio.currentTime);
$('dismiss').onclick = () => { showAlert(''); grid.focus(); };
$('playlists').onclick = openPlaylists;
$('help-button').onclick = () => $('help').showModal();
seek.addEventListener('input', () => { wanted = Number(seek.value); showTime(); });
seek.addEventListener('change', () => seekTo(Number(seek.value)));

function showVolume() {
  audio.volume = $('volume').value / 100;
  $('volume').style.setProperty('--done', $('volume').value + '%');
  $('mute').setAttribute('aria-pressed', audio.muted);
  $('mute').querySelector('use').setAttribute('href', audio.muted ? '#i-muted' : '#i-volume');
}
$('mute').onclick = () => { audio.muted = !audio.muted; showVolume(); };
$('volume').addEventListener('input', () => { remember('volume', Number($('volume').value)); showVolume(); });

$('format').onchange = () => {
  remember('format', $('format').value);
  if (current && !current.radio && !current.video && !audio.paused) begin(current, audio.currentTime);
};
$('station-form').addEventListener('submit', (event) => {
  event.preventDefault();
  playStation($('station').value.trim());
});

for (const [name, act] of Object.entries({
  play: () => current && resume(), pause: () => (gathering || !audio.paused) && toggle(),
  previoustrack: () => step(-1), nexttrack: () => step(1),
  seekto: (details) => seekTo(details.seekTime), seekbackward: () => seekTo(audio.currentTime - 10),
  seekforward: () => seekTo(audio.currentTime + 10)
})) {
  try {
    navigator.mediaSession.setActionHandler(name, act);
  } catch { /* not every browser has each of them */ }
}

// ---- start --------------------------------------------------------------------------------------

function showSection() {
  const name = location.hash.slice(1);
  section = name in sections ? name : 'music';
  for (const link of document.querySelectorAll('nav a')) {
    if (link.hash === '#' + section) link.setAttribute('aria-current', 'page');
    else link.removeAttribute('aria-current');
  }
  $('library').hidden = section === 'radio';
  $('radio').hidden = section !== 'radio';
  if (section === 'radio') showStations();
  else refresh();
}

async function load() {
  trouble = {title: 'Loading the library …'};
  showSection();
  const broken = {command: true, button: 'Try again', act: load};
  let response;
  try {
    response = await fetch('library.json', {cache: 'no-cache'});
  } catch {
    trouble = {title: 'The server does not answer', button: 'Try again', act: load,
               text: 'Is it switched on, and this device in its network?'};
    return showSection();
  }
  try {
    if (!response.ok) throw response;
    const content = await response.json();
    Object.assign(library, {music: readItems(content.music, false), videos: readItems(content.video, true)});
    sorted.clear();
    trouble = undefined;
  } catch {
    trouble = response.ok ?
      {...broken, title: 'The library cannot be read', text: 'Its file library.json is damaged. Have the server write it anew:'} :
      {...broken, title: 'There is no library yet', text: `The server has no library.json to give (${response.status}). Have it index the folder that holds the music:`};
  }
  showSection();
}

$('format').value = recall('format', 'mp3') === 'wav' ? 'wav' : 'mp3';
$('volume').value = Number.isFinite(recall('volume', null)) ? recall('volume', 100) : 100;
showVolume();
window.addEventListener('hashchange', () => {
  document.querySelectorAll('dialog[open]').forEach((dialog) => dialog.close());
  showSection();
});
load();
