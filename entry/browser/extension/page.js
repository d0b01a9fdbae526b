// Functions that run inside a page, not here: the browser sends their source there. So each stands
// alone and uses nothing of this file.

/**
 * What is selected in this frame: {html, text, focused}, or null where nothing is. The HTML has its
 * links and pictures with absolute addresses, and the elements around the selection that say how it
 * is to be read: a link, a list, emphasis, a language and a direction. What is selected in a field is
 * text alone; a password is not read.
 */
export function readSelection() {
  let active = document.activeElement;
  while (active?.shadowRoot?.activeElement) active = active.shadowRoot.activeElement;
  const isFrame = ['IFRAME', 'FRAME'].includes(active?.nodeName);
  // Frames keep their selections when somebody goes on to another one. Around the frame that the
  // person is in, each frame has the next one as its active element.
  let focused = !isFrame;
  try {
    for (let frame = window; focused && frame !== frame.parent; frame = frame.parent) {
      focused = frame.frameElement === frame.parent.document.activeElement;
    }
  } catch {
    focused = !isFrame && document.hasFocus(); // the page around is of another origin
  }
  const isField = active?.nodeName === 'TEXTAREA' ||
    (active?.nodeName === 'INPUT' && active.type !== 'password');
  if (isField && active.selectionStart !== active.selectionEnd) {
    return {text: active.value.slice(active.selectionStart, active.selectionEnd), focused};
  }
  const selection = getSelection();
  if (!selection || selection.rangeCount === 0) return null;
  let ranges = Array.from({length: selection.rangeCount}, (_, i) => selection.getRangeAt(i));
  if (selection.isCollapsed) {
    // What is selected inside a component counts as nothing for the page around, in Chromium; but it
    // has its text.
    const text = selection.toString();
    if (!text || active?.type === 'password') return null;
    const roots = [];
    const rootOf = (element) => globalThis.chrome?.dom?.openOrClosedShadowRoot?.(element) ??
      element.shadowRoot;
    for (let around = [document]; around.length > 0;) {
      around = around.flatMap((one) => [...one.querySelectorAll('*')].map(rootOf).filter(Boolean));
      roots.push(...around);
    }
    ranges = (selection.getComposedRanges?.({shadowRoots: roots}) ?? []).map((found) => {
      const range = document.createRange();
      range.setStart(found.startContainer, found.startOffset);
      // A paragraph that is selected whole ends where the next begins, perhaps in another component.
      const root = found.startContainer.getRootNode();
      if (found.endContainer.getRootNode() === root) {
        range.setEnd(found.endContainer, found.endOffset);
      } else {
        range.setEnd(root, root.childNodes.length);
      }
      return range;
    });
    const letters = (some) => some.replace(/\s+/g, '');
    if (letters(ranges.join('')) !== letters(text)) return {text, focused};
  }
  // A document of its own: nothing in it loads or runs.
  const inert = document.implementation.createHTMLDocument('');
  const box = inert.createElement('div');
  const kept = new Set(['A', 'ABBR', 'B', 'BDO', 'BLOCKQUOTE', 'CODE', 'DEL', 'EM', 'FONT', 'H1', 'H2',
    'H3', 'H4', 'H5', 'H6', 'I', 'INS', 'KBD', 'MARK', 'OL', 'PRE', 'Q', 'S', 'SAMP', 'SMALL', 'SPAN',
    'STRIKE', 'STRONG', 'SUB', 'SUP', 'TABLE', 'TBODY', 'TD', 'TFOOT', 'TH', 'THEAD', 'TR', 'TT', 'U',
    'UL', 'VAR']);
  for (const range of ranges) {
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
  return {html: box.outerHTML, text: selection.toString(), focused};
}

/**
 * What a link of this frame says, and whether more than this link is selected around it:
 * {text, insideSelection}. Of several links to the address it is the one that was clicked, which has
 * the focus.
 */
export function readLink(address) {
  let clicked = document.activeElement;
  while (clicked?.shadowRoot?.activeElement) clicked = clicked.shadowRoot.activeElement;
  const link = [clicked, ...document.querySelectorAll('a[href], area[href]')].find(
    (one) => one?.href === address);
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
    // Servers that do not know a picture's type say that it is bytes; a page would be shown instead.
    if (!blob.type.startsWith('image/')) (await createImageBitmap(blob)).close();
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

/**
 * A picture as the page shows it, as a PNG in base64; null where it is not there or is another
 * site's. For pages that let pictures in but have nothing fetched.
 */
export function drawPicture(address, maxBytes) {
  try {
    const picture = [...document.images].find((one) => one.currentSrc === address);
    if (!picture.complete) return null;
    const canvas = document.createElement('canvas');
    canvas.width = picture.naturalWidth;
    canvas.height = picture.naturalHeight;
    canvas.getContext('2d').drawImage(picture, 0, 0);
    const data = canvas.toDataURL('image/png').replace(/^data:image\/png;base64,|.*/, '');
    return data.length * 3 / 4 <= maxBytes ? data || null : null;
  } catch {
    return null;
  }
}
