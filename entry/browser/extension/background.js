// "Send by Mail" for web pages: gathers what the person chose and hands it to the native host, one
// message for one share. The host answers when the mail client has been opened, or says why not.
import {HOST, LABEL} from './edition.js';
import {drawPicture, readLink, readPicture, readSelection} from './page.js';

const api = globalThis.browser ?? globalThis.chrome;
// A browser ends the host when a message is longer than 64 MiB; the rest is for the JSON around.
const MAX_MESSAGE = 60 * 1024 * 1024;
const MAX_PICTURE = 44 * 1024 * 1024;
// How long a page may take to answer, in milliseconds: longer than a picture takes (page.js).
const LONGEST_WAIT = 20000;

// One share is {tab, info, notes}: what the browser tells of the click (info is absent for the
// button), and the names of the texts that tell the person what could not be shared.

/**
 * Calls a function in the frame of a tab that was clicked, or in all of them; [] where the page lets
 * nobody in or, which is noted, does not answer: a page whose own script never ends cannot keep a
 * share waiting. A page that is loading is not waited for, since one of its frames may never end.
 */
async function callInPage({tab, info, notes}, func, ...args) {
  if (tab?.id === undefined) return []; // what was clicked is the browser's own
  if (notes.has('pageSilent')) return []; // it was waited for already
  const target = info?.frameId === undefined ? {tabId: tab.id, allFrames: true}
                                             : {tabId: tab.id, frameIds: [info.frameId]};
  const tooLong = new Promise((resolve) => setTimeout(resolve, LONGEST_WAIT, null));
  // The permission that a click gives may come a moment after the click; later on a busy machine.
  for (let pause = 50; ; pause *= 2) {
    try {
      const results = await Promise.race(
        [api.scripting.executeScript({target, func, args, injectImmediately: true}), tooLong]);
      if (!results) {
        notes.add('pageSilent');
        return [];
      }
      return results.map((result) => result.result).filter((result) => result != null);
    } catch {
      if (pause > 400) return [];
      await new Promise((resolve) => setTimeout(resolve, pause));
    }
  }
}

async function selectionOf(click) {
  const found = await callInPage(click, readSelection);
  const selection = found.find((one) => one.focused) ?? found[0];
  if (selection?.html) return {html: selection.html, text: selection.text};
  if (selection) return {text: selection.text};
  return click.info?.selectionText ? {text: click.info.selectionText} : {};
}

function pageOf({tab, info}) {
  const page = {};
  if (tab?.title) page.title = tab.title;
  const address = tab?.url || info?.pageUrl;
  if (address) page.url = address;
  return page;
}

/** The picture's bytes beside the page's address; its own address where the bytes cannot be had. */
async function pictureOf(click) {
  const page = pageOf(click);
  const address = click.info.srcUrl;
  const inPage = await callInPage(click, readPicture, address, MAX_PICTURE);
  const imageData = inPage[0] ?? await readPicture(address, MAX_PICTURE) ??
    (await callInPage(click, drawPicture, address, MAX_PICTURE))[0];
  if (imageData) return {...page, imageData};
  return {...page, url: address, ...(page.url ? {text: page.url} : {})};
}

async function linkOf(click) {
  const {linkText, linkUrl} = click.info;
  const [link] = await callInPage(click, readLink, linkUrl);
  if (link?.insideSelection) return {...pageOf(click), ...await selectionOf(click)};
  return {title: link?.text || linkText || linkUrl, url: linkUrl};
}

async function messageOf(click) {
  if (click.info?.mediaType === 'image' && click.info.srcUrl) return pictureOf(click);
  if (click.info?.linkUrl) return linkOf(click);
  return {...pageOf(click), ...await selectionOf(click)};
}

/** Leaves out what makes a message longer than a browser passes on; the HTML has its text beside. */
function shorten(message, notes) {
  const size = () => new TextEncoder().encode(JSON.stringify(message)).length;
  for (const key of ['html', 'text', 'imageData']) {
    if (size() <= MAX_MESSAGE) break;
    if (!(key in message)) continue;
    delete message[key];
    if (key !== 'html' || !('text' in message)) notes.add('tooLarge');
  }
}

const text = (name, ...substitutions) => api.i18n.getMessage(name, substitutions);
const NAME = text('name') + LABEL;

/** The lines for the person, or '' where all went well. */
function linesOf(outcome, notes) {
  const lines = [];
  if (outcome.status !== 'opened') lines.push(outcome.reason || text('notSent'));
  for (const {item, reason} of outcome.missing ?? []) lines.push(item ? `${item}: ${reason}` : reason);
  for (const note of notes) lines.push(text(note));
  return lines.join('\n');
}

async function show(tab, badge, lines) {
  const where = tab?.id >= 0 ? {tabId: tab.id} : {}; // Chromium has -1 for what is not in a tab
  try {
    await api.action.setBadgeBackgroundColor({color: '#c01c28', ...where});
    // The reason is there when the badge is seen.
    await api.action.setTitle({title: lines ? `${NAME}\n${lines}` : NAME, ...where});
    await api.action.setBadgeText({text: badge, ...where});
  } catch {
    // The tab is gone. What went wrong is told in every tab then, until the next share begins.
    if (tab && lines) await show(undefined, badge, lines);
  }
}

async function ask(message) {
  try {
    return await api.runtime.sendNativeMessage(HOST, message) ?? {};
  } catch (error) {
    const missing = /not found|no such native application/i.test(error?.message ?? '');
    return {status: 'notOpened', reason: text(missing ? 'hostMissing' : 'hostFailed')};
  }
}

async function share(tab, info) {
  await show(undefined, '', '');
  await show(tab, '…', '');
  const notes = new Set();
  const message = await messageOf({tab, info, notes});
  // Half a character, which a page's script can make, is not text anywhere else.
  for (const key of Object.keys(message)) message[key] = message[key].toWellFormed();
  shorten(message, notes);
  const lines = linesOf(await ask(message), notes);
  await show(tab, lines ? '!' : '', lines);
}

async function makeMenu() {
  await api.contextMenus.removeAll();
  api.contextMenus.create({id: 'share', title: NAME,
                           contexts: ['page', 'frame', 'selection', 'link', 'image']});
}

api.runtime.onInstalled.addListener(makeMenu);
api.runtime.onStartup.addListener(makeMenu);
api.contextMenus.onClicked.addListener((info, tab) => share(tab, info));
api.action.onClicked.addListener((tab) => share(tab));
