// "Send by Mail" for web pages: gathers what the person chose and hands it to the native host, one
// message for one share. The host answers when the mail client has been opened, or says why not.
import {HOST, LABEL} from './edition.js';
import {readLink, readPicture, readSelection} from './page.js';

const api = globalThis.browser ?? globalThis.chrome;
// A browser ends the host when a message is longer than 64 MiB; the rest is for the JSON around.
const MAX_MESSAGE = 60 * 1024 * 1024;
const MAX_PICTURE = 44 * 1024 * 1024;

/** Calls a function in frames of a tab; [] where the page lets nobody in. */
async function callInPage(target, func, ...args) {
  for (let attempt = 0; ; ++attempt) {
    try {
      const results = await api.scripting.executeScript({target, func, args});
      return results.map((result) => result.result).filter((result) => result != null);
    } catch {
      // The permission that a click gives may come a moment after the click.
      if (attempt === 1) return [];
      await new Promise((resolve) => setTimeout(resolve, 100));
    }
  }
}

/** Where in a tab to look: the frame that was clicked, or all of them. */
function frames(tab, info) {
  return info?.frameId === undefined ? {tabId: tab.id, allFrames: true}
                                     : {tabId: tab.id, frameIds: [info.frameId]};
}

async function selectionOf(tab, info) {
  const found = await callInPage(frames(tab, info), readSelection);
  const selection = found.find((one) => one.focused) ?? found[0];
  if (selection) return {html: selection.html, text: selection.text};
  return info?.selectionText ? {text: info.selectionText} : {};
}

function pageOf(tab, info) {
  const page = {};
  if (tab?.title) page.title = tab.title;
  const address = tab?.url || info?.pageUrl;
  if (address) page.url = address;
  return page;
}

/** The picture's bytes beside the page's address; its own address where the bytes cannot be had. */
async function pictureOf(tab, info) {
  const page = pageOf(tab, info);
  const inPage = await callInPage(frames(tab, info), readPicture, info.srcUrl, MAX_PICTURE);
  const imageData = inPage[0] ?? await readPicture(info.srcUrl, MAX_PICTURE);
  if (imageData) return {...page, imageData};
  return {...page, url: info.srcUrl, ...(page.url ? {text: page.url} : {})};
}

async function linkOf(tab, info) {
  const [link] = await callInPage(frames(tab, info), readLink, info.linkUrl);
  if (link?.insideSelection) return {...pageOf(tab, info), ...await selectionOf(tab, info)};
  return {title: link?.text || info.linkText || info.linkUrl, url: info.linkUrl};
}

async function messageOf(tab, info) {
  if (info?.mediaType === 'image' && info.srcUrl) return pictureOf(tab, info);
  if (info?.linkUrl) return linkOf(tab, info);
  return {...pageOf(tab, info), ...await selectionOf(tab, info)};
}

/** Leaves out what makes a message longer than a browser passes on, and names it. */
function shortened(message) {
  const size = () => new TextEncoder().encode(JSON.stringify(message)).length;
  const leftOut = [];
  for (const key of ['html', 'text', 'imageData']) {
    if (size() <= MAX_MESSAGE) break;
    if (!(key in message)) continue;
    delete message[key];
    leftOut.push(key);
  }
  return leftOut;
}

const text = (name, ...substitutions) => api.i18n.getMessage(name, substitutions);
const NAME = text('name') + LABEL;

/** The line for the person, or '' where all went well. */
function lineOf(outcome, leftOut) {
  const lines = [];
  if (outcome.status !== 'opened') lines.push(outcome.reason || text('notSent'));
  for (const {item, reason} of outcome.missing ?? []) lines.push(item ? `${item}: ${reason}` : reason);
  if (leftOut.length > 0 && !(leftOut.length === 1 && leftOut[0] === 'html')) lines.push(text('tooLarge'));
  return lines.join('\n');
}

async function show(tab, badge, line) {
  const where = tab?.id === undefined ? {} : {tabId: tab.id};
  try {
    await api.action.setBadgeBackgroundColor({color: '#c01c28', ...where});
    await api.action.setBadgeText({text: badge, ...where});
    await api.action.setTitle({title: line ? `${NAME}\n${line}` : NAME, ...where});
  } catch {
    // The tab is gone, and nobody looks at its button.
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
  await show(tab, '…', '');
  const message = await messageOf(tab, info);
  // Half a character, which a page's script can make, is not text anywhere else.
  for (const key of Object.keys(message)) message[key] = message[key].toWellFormed();
  const leftOut = shortened(message);
  const line = lineOf(await ask(message), leftOut);
  await show(tab, line ? '!' : '', line);
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
