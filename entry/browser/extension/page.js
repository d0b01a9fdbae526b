// Functions that run inside a page, not here: the browser sends their source there. So each stands
// alone and uses nothing of this file.

/**
 * What is selected in this frame: {html, text, focused}, or null where nothing is. The HTML has its
 * links and pictures with absolute addresses, and the elements around the selection that say how it
 * is to be read: a link, a list, emphasis, a language and a direction.
 */
export function readSelection() {
  const selection = getSelection();
  if (!selection || selection.isCollapsed || selection.rangeCount === 0) return null;
  // A document of its own: nothing in it loads or runs.
  const inert = document.implementation.createHTMLDocument('');
  const box = inert.createElement('div');
  const kept = new Set(['A', 'ABBR', 'B', 'BDO', 'BLOCKQUOTE', 'CODE', 'DEL', 'EM', 'FONT', 'H1', 'H2',
    'H3', 'H4', 'H5', 'H6', 'I', 'INS', 'KBD', 'MARK', 'OL', 'PRE', 'Q', 'S', 'SAMP', 'SMALL', 'SPAN',
    'STRIKE', 'STRONG', 'SUB', 'SUP', 'TABLE', 'TBODY', 'TD', 'TFOOT', 'TH', 'THEAD', 'TR', 'TT', 'U',
    'UL', 'VAR']);
  for (let i = 0; i < selection.rangeCount; ++i) {
    const range = selection.getRangeAt(i);
    let piece = inert.importNode(range.cloneContents(), true);
    const common = range.commonAncestorContainer;
    const start = common.nodeType === Node.ELEMENT_NODE ? common : common.parentElement;
    for (let around = start; around && kept.has(around.nodeName); around = around.parentElement) {
      const shell = inert.importNode(around, false);
      shell.append(piece);
      piece = shell;
    }
    box.append(piece);
    const place = start ?? document.documentElement;
    const language = place.closest('[lang]')?.lang;
    if (language) box.lang = language;
    if (getComputedStyle(place).direction === 'rtl') box.dir = 'rtl';
  }
  for (const [name, elements] of [['href', 'a[href], area[href]'], ['src', 'img[src]']]) {
    for (const element of box.querySelectorAll(elements)) {
      try {
        element.setAttribute(name, new URL(element.getAttribute(name), document.baseURI).href);
      } catch {
        element.removeAttribute(name); // not an address at all
      }
    }
  }
  for (const element of box.querySelectorAll('script, style, noscript, template')) element.remove();
  return {html: box.outerHTML, text: selection.toString(), focused: document.hasFocus()};
}

/**
 * What a link of this frame says, and whether more than this link is selected around it:
 * {text, insideSelection}.
 */
export function readLink(address) {
  const link = [...document.querySelectorAll('a[href], area[href]')].find((a) => a.href === address);
  if (!link) return {text: '', insideSelection: false};
  const text = (link.innerText ?? '').trim() || link.querySelector('img[alt]')?.alt || link.title || '';
  const selection = getSelection();
  const insideSelection = Boolean(selection) && !selection.isCollapsed &&
    selection.containsNode(link, true) && !link.contains(selection.getRangeAt(0).commonAncestorContainer);
  return {text: text.replace(/\s+/g, ' '), insideSelection};
}

/**
 * The bytes of a picture as base64, or null where it cannot be had in eight seconds, is none or is
 * too large.
 */
export async function readPicture(address, maxBytes) {
  try {
    const response = await fetch(address, {cache: 'force-cache', signal: AbortSignal.timeout(8000)});
    if (!response.ok) return null;
    const blob = await response.blob();
    if (blob.size === 0 || blob.size > maxBytes) return null;
    if (blob.type && !blob.type.startsWith('image/')) return null;
    // A page's buffers are not this script's to look into in Firefox, a reader's result is.
    const dataURL = await new Promise((resolve, reject) => {
      const reader = new FileReader();
      reader.onload = () => resolve(reader.result);
      reader.onerror = () => reject(reader.error);
      reader.readAsDataURL(blob);
    });
    return dataURL.slice(dataURL.indexOf(',') + 1);
  } catch {
    return null;
  }
}
