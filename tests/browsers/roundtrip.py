"""A page that is copied from Chromium, shared from the clipboard, and shown by Chromium again: what
is read of the two, word by word, and how it looks, is compared."""

# Every word that is seen, with its looks. An element with "data-text" stands for that text: what it
# holds is no text in a page, or is written in another way in a message.
READ = r'''(() => {
const canvas = new OffscreenCanvas(1, 1).getContext('2d', {willReadFrequently: true});
const pixel = (color) => {
    canvas.clearRect(0, 0, 1, 1);
    canvas.fillStyle = color;
    canvas.fillRect(0, 0, 1, 1);
    return [...canvas.getImageData(0, 0, 1, 1).data];
};
const background = (element) => {
    for (let e = element; e; e = e.parentElement) {
        const color = pixel(getComputedStyle(e).backgroundColor);
        if (color[3]) return color;
    }
    return [255, 255, 255, 255];
};
const block = (element) => {
    while (getComputedStyle(element).display == 'inline') element = element.parentElement;
    return element;
};
const lines = (element) => {
    const found = new Set();
    for (let e = element; e; e = e.parentElement) {
        const style = getComputedStyle(e);
        for (const line of style.textDecorationLine.split(' ')) if (line != 'none') found.add(line);
        if (style.display == 'inline-block') break;
    }
    return [...found].sort();
};
// What verticalAlign says of the elements around a word, but for what is usual: of a cell that is
// its middle.
const raised = (element) => {
    const found = [];
    for (let e = element; e && getComputedStyle(e).display == 'inline'; e = e.parentElement) {
        const align = getComputedStyle(e).verticalAlign;
        if (align != 'baseline') found.push(align);
    }
    return found;
};
const number = (item) => {
    const list = item.parentElement;
    if (list.localName != 'ol') return null;
    const items = [...list.children].filter((e) => e.localName == 'li');
    const written = (element, name) => /^\s*[+-]?\d{1,9}/.test(element.getAttribute(name));
    let next = written(list, 'start') ? list.start : list.reversed ? items.length : 1;
    for (const one of items) {
        if (written(one, 'value')) next = one.value;
        if (one == item) return next;
        next += list.reversed ? -1 : 1;
    }
};
const linkOf = (element) => element.closest('a[href]')?.href ?? '';
const looks = (element) => {
    const style = getComputedStyle(element);
    const item = element.closest('li');
    const cell = element.closest('td, th');
    const cellStyle = cell && getComputedStyle(cell);
    return {
        fontStyle: style.fontStyle, fontWeight: style.fontWeight, fontSize: style.fontSize,
        fontFamily: style.fontFamily, fontVariantCaps: style.fontVariantCaps,
        lineHeight: style.lineHeight, letterSpacing: style.letterSpacing,
        color: pixel(style.color), background: background(element), lines: lines(element),
        raised: raised(element), textAlign: style.textAlign.replace('-webkit-', ''),
        textIndent: style.textIndent,
        textTransform: style.textTransform, direction: style.direction,
        overrides: style.unicodeBidi.includes('override'),
        left: Math.round(block(element).getBoundingClientRect().left),
        spaces: style.whiteSpace, lang: element.closest('[lang]')?.lang ?? '',
        link: linkOf(element),
        title: element.closest('[title]')?.title ?? '',
        marker: item && getComputedStyle(item).listStyleType, number: item && number(item),
        cell: cell && {columns: cell.colSpan, rows: cell.rowSpan, header: cell.localName == 'th',
            verticalAlign: cellStyle.verticalAlign, padding: cellStyle.padding,
            border: cellStyle.borderTopStyle + ' ' + cellStyle.borderTopWidth,
            collapse: cellStyle.borderCollapse, spacing: cellStyle.borderSpacing,
            width: cell.getAttribute('width') || cell.style.width},
    };
};
const words = [];
const add = (text, looked) => {
    for (const word of text.split(/[ \t\n\r\f]+/)) if (word) words.push([word, looked]);
};
const isSeen = (node) => {
    const range = document.createRange();
    range.selectNodeContents(node);
    return range.getClientRects().length > 0 &&
        getComputedStyle(node.parentElement).visibility == 'visible';
};
const visit = (node) => {
    if (node.nodeType == Node.TEXT_NODE) {
        if (isSeen(node)) add(node.data, looks(node.parentElement));
    } else if (node.nodeType == Node.ELEMENT_NODE && !['style', 'script'].includes(node.localName)) {
        if (node.dataset && 'text' in node.dataset) add(node.dataset.text, {link: linkOf(node)});
        // Links in a message.
        else if (node.localName == 'video') add(node.src, {link: node.src});
        else if (node.localName == 'iframe') add(node.title, {link: node.src});
        else if (node.localName == 'img' && node.naturalWidth) add(
            `[${node.width}x${node.height}]`, looks(node.parentElement));
        else node.childNodes.forEach(visit);
    }
};
visit(document.body);
return words;
})()'''

COPY = '''(() => {
    getSelection().selectAllChildren(document.body);
    return document.execCommand('copy');
})()'''

PAGE = '''<!DOCTYPE html><html><head><meta charset="utf-8"><title>Round trip</title><style>
h2 { color: oklch(0.45 0.16 264); }
p.note, li.late { font-style: italic; color: rgb(0 100 0 / 75%); }
#boxed { border: 2px solid teal; padding: 4px 8px; }
em, .strong { font-weight: 700 }
.dark { background: url("picture.png") rgb(20, 20, 60); color: white }
</style></head><body>
<h1>Heading one</h1><h2>Heading two</h2>
<p>Plain <b>bold</b> <i>italic</i> <u>underlined</u> <s>struck</s> <strong>strong</strong>
<em>emphasis</em> <code>code</code> <kbd>keys</kbd> <samp>sample</samp> <var>variable</var>
<small>small</small> <mark>marked</mark> <del>deleted</del> <ins>inserted</ins> <q>quoted</q>
H<sub>below</sub>O x<sup>above</sup> <cite>cited</cite> <dfn>defined</dfn></p>
<p style="font: italic bold 14px / 1.5 Arial">The shorthand</p>
<p style="font: small-caps 700 20px/30px Georgia, serif">of fonts</p>
<p style="font-family: 'Courier New', monospace; font-size: 18px">a family</p>
<p class="note">A class.</p><p id="boxed">An id.</p>
<p class="dark">White on dark, with a picture behind</p>
<p><span style="color: oklch(0.6 0.2 30)">oklch</span> <span style="color: oklab(0.5 0.1 -0.1)">oklab</span>
<span style="color: lab(50% 40 -30)">lab</span> <span style="color: lch(60% 50 200)">lch</span>
<span style="color: color(display-p3 0.4 0.6 0.2)">color</span>
<span style="color: color-mix(in srgb, red 30%, blue)">mixed</span>
<span style="color: color-mix(in oklab, teal, gold 40%)">and</span>
<span style="color: rgb(1 2 3 / 50%)">rgb</span> <span style="color: hsl(200deg 50% 40%)">hsl</span>
<span style="color: hwb(20 10% 20%)">hwb</span> <span style="color: rebeccapurple">named</span>
<span style="background-color: lch(80% 40 100)">behind</span></p>
<ol type="a" start="3"><li>three</li><li value="7">seven</li><li>eight</li></ol>
<ol reversed><li>last</li><li>middle</li><li>first</li></ol>
<ol type="I"><li>roman<ol><li>inner</li></ol></li><li class="late">late</li></ol>
<ul style="list-style-type: square"><li>squared</li></ul><ul type="circle"><li>circled</li></ul>
<ul><li data-text="☑ done"><input type="checkbox" checked> done</li>
<li data-text="☐ open"><input type="checkbox"> open</li></ul>
<dl><dt>Term</dt><dd>Definition</dd></dl>
<figure>Figure<figcaption>described</figcaption></figure>
<menu><li>choice</li></menu>
<table border="1" cellpadding="5" cellspacing="3" bgcolor="#eeffee"><tr><th colspan="2">Head</th></tr>
<tr><td valign="top" width="120" nowrap>Top left</td><td align="right" bgcolor="yellow">Right</td></tr>
<tr><td rowspan="2">Two rows</td><td style="border: 1px dashed red; padding: 8px">Dashed</td></tr>
<tr><td style="vertical-align: bottom">Bottom</td></tr></table>
<table style="border-collapse: collapse"><caption>Caption</caption><tr><td style="border: 1px solid gray">Collapsed</td></tr></table>
<p>Formula <math data-text="x2 + 1"><msup><mi>x</mi><mn>2</mn></msup><mo>+</mo><mn>1</mn></math>
drawing <svg data-text="Drawn" width="80" height="20"><text x="0" y="15">Drawn</text></svg>
reads <ruby data-text="東（とう）"><rb>東</rb><rp>（</rp><rt>とう</rt><rp>）</rp></ruby></p>
<p><a href="kinds/green?a=1&amp;b=2">relative</a> <a href="https://a.example/x">absolute</a>
<a href="mailto:ann@a.example">mail</a> <a href="tel:+391234">call</a>
<a href="https://a.example/only"><img src="nowhere.png" alt="picture told" data-text="picture told"></a></p>
<p><abbr title="World Health Organization">WHO</abbr> <span lang="de">Straße</span>
<bdo dir="rtl">reversed</bdo> <span style="visibility: hidden">unseen</span>
<span style="display: none">gone</span></p>
<p dir="rtl" lang="ar">مرحبا <b>بكم</b></p>
<p style="text-align: center">centred</p><p style="text-align: justify; text-indent: 20px">indented</p>
<p style="letter-spacing: 2px; text-transform: uppercase">spaced</p>
<p><span style="text-decoration: underline line-through">both</span>
<span style="vertical-align: super">raised</span></p>
<blockquote>Quotation<blockquote>inside</blockquote></blockquote>
<pre>kept    spaces
and\tlines</pre>
<p style="white-space: pre-wrap">wrapped   spaces</p>
<div style="background: linear-gradient(red, blue), #102030; color: #fff">on a gradient</div>
<details open><summary data-text="Summary">Summary</summary>Details</details>
<hr><address>Address</address><center>Centre</center><font color="#0000ff" face="Verdana" size="5">Font</font>

<video src="film.mp4"></video>
<iframe src="/inner/page" title="frame told"></iframe>
<img src="data:image/png;base64,iVBORw0KGgoAAAANSUhEUgAAAAIAAAACCAIAAAD91JpzAAAAEElEQVR4nGP4z8AARAwQCgAf7gP9i18U1AAAAABJRU5ErkJggg==" width="20" height="30">
</body></html>'''


def is_near(a, b):
    if isinstance(a, list) and isinstance(b, list) and len(a) == len(b) == 4:
        return all(abs(x - y) <= 2 for x, y in zip(a, b))
    return a == b


def compare(before, after):
    """Lines that tell what is different."""
    wanted, got = (''.join(word for word, _ in words) for words in (before, after))
    begin = got.find(wanted)
    if begin < 0:
        at = next(i for i in range(len(wanted)) if wanted[:i + 1] not in got)
        return [f'the text ends with {wanted[max(0, at - 40):at]!r}, not with {wanted[at:at + 20]!r}']
    # Words may be parted in another way: what counts is the looks of their first characters.
    looks = {}
    for word, look in after:
        for at in range(len(word)):
            looks[len(looks)] = look
    different = []
    for word, old in before:
        new = looks[begin]
        for key in old:
            if not is_near(old[key], new[key]):
                different.append(f'{word}: {key} was {old[key]!r}, is {new[key]!r}')
        begin += len(word)
    return different
