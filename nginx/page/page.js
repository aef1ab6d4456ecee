// The list of films, and a player that requests a new part of the film for each seek. A part begins at the last key
// frame before the start time. The server sends the time of that frame in a header, and timestamps that begin at 0.
"use strict";

const byId = (id) => document.getElementById(id);
const video = byId("video");
const position = byId("position");

// The current film: its name, its duration in seconds, and the time of the first frame of the current part.
let film = null;
let player = null;
// The number of the last request. Responses to earlier requests are ignored.
let request = 0;

function timeText(seconds) {
  const whole = Math.floor(seconds);
  const parts = [Math.floor(whole / 60) % 60, whole % 60].map((part) => String(part).padStart(2, "0"));
  const hours = Math.floor(whole / 3600);
  return hours > 0 ? `${hours}:${parts.join(":")}` : `${Number(parts[0])}:${parts[1]}`;
}

function sizeText(bytes) {
  return bytes < 1e6 ? `${Math.ceil(bytes / 1e3)} kB` : `${(bytes / 1e6).toFixed(1)} MB`;
}

function showTime(seconds) {
  byId("time").textContent = `${timeText(seconds)} / ${timeText(film ? film.duration : 0)}`;
}

function say(text, isError = false) {
  byId("message").textContent = text;
  byId("message").classList.toggle("error", isError);
}

const address = (name, query) => `vod/${encodeURIComponent(name)}${query}`;

// Returns the reason for an error, which the server sends as one line of text.
async function reasonOf(response) {
  const type = response.headers.get("Content-Type") || "";
  return type.startsWith("text/plain") ? (await response.text()).trim() : `The server answers ${response.status}.`;
}

function closePart() {
  if (!player) return;
  player.destroy();
  player = null;
}

function openPart(url, wantsToPlay) {
  player = mpegts.createPlayer(
    { type: "flv", url: new URL(url, location.href).href, isLive: false, cors: true },
    { enableWorker: false, lazyLoad: false, autoCleanupSourceBuffer: true, accurateSeek: false });
  player.on(mpegts.Events.ERROR, (kind, detail) => {
    const isCodec = detail === mpegts.ErrorDetails.MEDIA_CODEC_UNSUPPORTED ||
      detail === mpegts.ErrorDetails.MEDIA_FORMAT_UNSUPPORTED || detail === mpegts.ErrorDetails.MEDIA_MSE_ERROR;
    say(isCodec ? "This browser cannot decode the film." : "The film cannot be loaded: the server broke off.", true);
  });
  player.attachMediaElement(video);
  player.load();
  if (wantsToPlay) player.play()?.catch(() => {});
}

async function seek(seconds, plays = false) {
  if (!film) return;
  const number = ++request;
  const name = film.name;
  const target = Math.min(Math.max(seconds, 0), Math.max(film.duration - 0.1, 0));
  position.value = target;
  showTime(target);
  try {
    const response = await fetch(address(name, target > 0 ? `?start=${target.toFixed(3)}` : ""), { method: "HEAD" });
    if (number !== request) return;
    if (!response.ok) throw new Error(`The film cannot start there (${response.status}).`);
    // Check again, because the viewer may have paused or started the film meanwhile.
    const wantsToPlay = plays || !video.paused;
    closePart();
    film.start = Number(response.headers.get("X-Content-Start") || 0);
    say(name);
    // The URL after the redirect.
    openPart(response.url, wantsToPlay);
  } catch (error) {
    if (number === request) say(error instanceof TypeError ? "The server does not answer." : error.message, true);
  }
}

function setEnabled(isEnabled) {
  for (const control of [position, byId("play"), byId("whole")]) control.disabled = !isEnabled;
  if (!isEnabled) showState(true);
}

function showState(isPaused) {
  byId("play").textContent = isPaused ? "▶" : "❚❚";
  byId("play").setAttribute("aria-label", isPaused ? "Play" : "Pause");
}

async function choose(name, button) {
  const number = ++request;
  closePart();
  film = null;
  position.value = 0;
  showTime(0);
  setEnabled(false);
  for (const other of document.querySelectorAll("#list button")) other.removeAttribute("aria-current");
  button.setAttribute("aria-current", "true");
  say(`Opening ${name} …`);
  try {
    const response = await fetch(address(name, "?info"));
    if (number !== request) return;
    if (!response.ok) throw new Error(await reasonOf(response));
    film = { name, duration: (await response.json()).duration, start: null };
    position.max = film.duration;
    setEnabled(true);
    await seek(0, true);
  } catch (error) {
    if (number === request) say(error instanceof TypeError ? "The server does not answer." : error.message, true);
  }
}

async function showDuration(name, place) {
  const response = await fetch(address(name, "?info"));
  place.textContent = response.ok ? timeText((await response.json()).duration) : "not playable";
}

async function listFilms() {
  try {
    const response = await fetch("films/", { cache: "no-store" });
    if (!response.ok) throw new Error();
    const files = (await response.json()).filter((file) => file.type === "file" && /\.flv$/i.test(file.name));
    if (files.length === 0) say("There are no films in this folder.");
    const durations = [];
    for (const file of files) {
      const button = document.createElement("button");
      button.type = "button";
      const texts = { name: file.name, duration: "", size: sizeText(file.size) };
      for (const [kind, text] of Object.entries(texts)) {
        const span = document.createElement("span");
        span.className = kind;
        span.textContent = text;
        button.append(span);
      }
      button.addEventListener("click", () => choose(file.name, button));
      const item = document.createElement("li");
      item.append(button);
      byId("list").append(item);
      durations.push([file.name, button.querySelector(".duration")]);
    }
    // Request one duration at a time, because each may require a pass over the film.
    for (const [name, place] of durations) await showDuration(name, place);
  } catch {
    say("The list of films cannot be loaded.", true);
  }
}

const now = () => (film && film.start !== null ? film.start + video.currentTime : 0);

function togglePlay() {
  if (!film) return;
  if (video.ended) seek(0, true);
  else if (video.paused) video.play().catch(() => {});
  else video.pause();
}

function toggleWholeScreen() {
  if (document.fullscreenElement) document.exitFullscreen();
  else byId("player").requestFullscreen().catch(() => {});
}

let isDragging = false;
position.addEventListener("input", () => { isDragging = true; showTime(position.value); });
position.addEventListener("change", () => { isDragging = false; seek(Number(position.value)); });
video.addEventListener("timeupdate", () => {
  if (!film || isDragging) return;
  position.value = now();
  showTime(now());
});
for (const event of ["play", "pause", "ended"]) {
  video.addEventListener(event, () => showState(video.paused));
}
byId("play").addEventListener("click", togglePlay);
byId("whole").addEventListener("click", toggleWholeScreen);
// Browsers of some phones play videos full screen themselves and do not let a page do it.
byId("whole").hidden = !document.fullscreenEnabled;
video.addEventListener("click", togglePlay);

document.addEventListener("keydown", (event) => {
  if (event.altKey || event.ctrlKey || event.metaKey || !film) return;
  const isOnButton = event.target instanceof HTMLButtonElement;
  const actions = {
    ArrowLeft: () => seek(now() - 10),
    ArrowRight: () => seek(now() + 10),
    Home: () => seek(0),
    f: toggleWholeScreen,
    m: () => { video.muted = !video.muted; },
  };
  if (!isOnButton) actions[" "] = togglePlay;
  const action = actions[event.key];
  if (!action) return;
  event.preventDefault();
  action();
});

listFilms();
