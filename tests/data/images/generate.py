#!/usr/bin/env python3
"""Writes the samples here that need no codec: python3 generate.py

"corners" is 48 by 32 pixels, one colour in each quarter: red, green; blue, white. The "bomb" files
are a few bytes that claim 60000 by 60000 pixels (WebP: 16383 by 16383).
"""
import base64
import struct
import zlib

WIDTH, HEIGHT = 48, 32
COLORS = [(255, 0, 0), (0, 255, 0), (0, 0, 255), (255, 255, 255)]


def quarter(x, y):
    return (x >= WIDTH // 2) + 2 * (y >= HEIGHT // 2)


def write(name, data):
    with open(name, "wb") as file:
        file.write(data)


def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def png(width, height, depth, color, rows, extra=b""):
    header = struct.pack(">IIBBBBB", width, height, depth, color, 0, 0, 0)
    pixels = zlib.compress(b"".join(b"\0" + row for row in rows), 9)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + extra + chunk(b"IDAT", pixels)
            + chunk(b"IEND", b""))


def rows(pixel):
    return [b"".join(pixel(quarter(x, y)) for x in range(WIDTH)) for y in range(HEIGHT)]


write("corners.png", png(WIDTH, HEIGHT, 8, 2, rows(lambda q: bytes(COLORS[q]))))
write("corners-16-bit.png",
      png(WIDTH, HEIGHT, 16, 2, rows(lambda q: struct.pack(">3H", *(c * 257 for c in COLORS[q])))))
# The palette's last colour is transparent by half.
write("corners-palette-alpha.png",
      png(WIDTH, HEIGHT, 8, 3, rows(lambda q: bytes([q])),
          chunk(b"PLTE", b"".join(map(bytes, COLORS))) + chunk(b"tRNS", b"\xff\xff\xff\x80")))
write("corners-grey.png", png(WIDTH, HEIGHT, 8, 0, rows(lambda q: bytes([q * 80]))))


def gif_blocks(indices):
    """Uncompressed LZW of 3-bit codes: a clear code before the code size would grow."""
    bits = count = 0
    out = bytearray()
    codes = []
    for at, index in enumerate(indices):
        if at % 2 == 0:
            codes.append(4)
        codes.append(index)
    for code in codes + [5]:
        bits |= code << count
        count += 3
        while count >= 8:
            out.append(bits & 255)
            bits >>= 8
            count -= 8
    out.append(bits & 255)
    blocks = b"".join(bytes([len(out[i:i + 255])]) + out[i:i + 255]
                      for i in range(0, len(out), 255))
    return b"\x02" + blocks + b"\0"


def gif(width, height, frames):
    head = b"GIF89a" + struct.pack("<HHBBB", width, height, 0x81, 0, 0)
    head += b"".join(map(bytes, COLORS))
    return head + b"".join(frames) + b";"


def frame(width, height, blocks):
    control = b"!\xf9\x04\0\x0a\0\0\0"
    return control + b"," + struct.pack("<HHHHB", 0, 0, width, height, 0) + blocks


corners = [quarter(x, y) for y in range(HEIGHT) for x in range(WIDTH)]
write("corners.gif", gif(WIDTH, HEIGHT, [frame(WIDTH, HEIGHT, gif_blocks(corners))]))
write("corners-animated.gif",
      gif(WIDTH, HEIGHT, [frame(WIDTH, HEIGHT, gif_blocks(corners)),
                          frame(WIDTH, HEIGHT, gif_blocks([0] * len(corners)))]))

write("corners.svg", b"""<svg xmlns="http://www.w3.org/2000/svg" width="48" height="32">
<rect width="24" height="16" fill="#f00"/><rect x="24" width="24" height="16" fill="#0f0"/>
<rect y="16" width="24" height="16" fill="#00f"/>
<rect x="24" y="16" width="24" height="16" fill="#fff"/>
</svg>
""")
# What an SVG must not reach.
write("entity.svg", b"""<?xml version="1.0"?>
<!DOCTYPE svg [<!ENTITY secret SYSTEM "file:///etc/passwd">]>
<svg xmlns="http://www.w3.org/2000/svg" width="48" height="32"><text y="20">&secret;</text></svg>
""")
write("links.svg", b"""<svg xmlns="http://www.w3.org/2000/svg" width="48" height="32"
 xmlns:xlink="http://www.w3.org/1999/xlink"><rect width="48" height="32" fill="#fff"/>
<image xlink:href="http://127.0.0.1:9/x.png" width="48" height="32"/>
<image xlink:href="corners.png" width="48" height="32"/></svg>
""")


def tiff(width, height, photometric, samples, extra, strip):
    bits_at = 8 + 2 + 12 * 12 + 4
    strip_at = bits_at + 2 * samples
    entries = [(256, 4, 1, width), (257, 4, 1, height),
               (258, 3, samples, bits_at if samples > 2 else 8), (259, 3, 1, 1),
               (262, 3, 1, photometric), (273, 4, 1, strip_at), (277, 3, 1, samples),
               (278, 4, 1, height), (279, 4, 1, len(strip) or width * height * samples & 0xFFFFFFFF),
               (284, 3, 1, 1)]
    if extra:
        entries.append((338, 3, 1, extra))
    head = b"II*\0" + struct.pack("<IH", 8, len(entries))
    head += b"".join(struct.pack("<HHII", *entry) for entry in entries) + bytes(4)
    return head.ljust(bits_at, b"\0") + struct.pack("<H", 8) * samples + strip


# Alpha of the last quarter is a half; in the first file its colour is premultiplied.
for name, extra, last in (("premultiplied", 1, 128), ("straight", 2, 255)):
    pixels = [bytes(COLORS[q]) + b"\xff" for q in range(3)] + [bytes([last] * 3) + b"\x80"]
    write(f"corners-{name}-alpha.tiff",
          tiff(WIDTH, HEIGHT, 2, 4, extra, b"".join(rows(lambda q: pixels[q]))))

SIDE = 60000
write("bomb.png", b"\x89PNG\r\n\x1a\n"
      + chunk(b"IHDR", struct.pack(">IIBBBBB", SIDE, SIDE, 8, 2, 0, 0, 0))
      + chunk(b"IDAT", zlib.compress(bytes(1000000), 9)) + chunk(b"IEND", b""))
write("bomb.gif", gif(SIDE, SIDE, [frame(SIDE, SIDE, b"\x02\x02\x44\x01\0")]))
write("bomb-frame.gif", gif(10, 10, [frame(SIDE, SIDE, b"\x02\x02\x44\x01\0")]))
write("bomb-frames.gif",
      gif(5000, 5000, [frame(5000, 5000, gif_blocks([0] * 100))] * 300))
write("bomb.bmp", b"BM" + struct.pack("<IHHIIiiHHIIiiII", 154, 0, 0, 54, 40, SIDE, SIDE, 1, 24, 0,
                                      0, 0, 0, 0, 0) + bytes(100))
write("bomb.tiff", tiff(SIDE, SIDE, 1, 1, 0, b""))
write("bomb-20000.tiff", tiff(20000, 20000, 1, 1, 0, b"").ljust(400, b"\0"))
write("bomb.ppm", b"P6\n60000 60000\n255\n" + bytes(200))
write("bomb.tga", bytes([0, 0, 2, 0, 0, 0, 0, 0]) + struct.pack("<HHHHBB", 0, 0, SIDE, SIDE, 24, 0)
      + bytes(100))
vp8l = b"\x2f" + struct.pack("<I", 16382 | 16382 << 14) + bytes(13)
write("bomb.webp", b"RIFF" + struct.pack("<I", 12 + len(vp8l)) + b"WEBPVP8L"
      + struct.pack("<I", len(vp8l)) + vp8l)
for name, kind in (("bomb.jpg", 0xC0), ("bomb-progressive.jpg", 0xC2)):
    write(name, b"\xff\xd8\xff\xe0\0\x10JFIF\0\x01\x01\0\0\x01\0\x01\0\0\xff\xdb\0\x43\0" + b"\1" * 64
          + b"\xff" + bytes([kind]) + b"\0\x11\x08" + struct.pack(">HH", SIDE, SIDE)
          + b"\x03\x01\x22\0\x02\x11\0\x03\x11\0\xff\xda\0\x0c\x03\x01\0\x02\0\x03\0\0\x3f\0"
          + bytes(100))
write("bomb.xpm", b"/* XPM */\nstatic char * x[] = {\n\"60000 60000 1 1\",\n\"a c #000000\",\n"
      b"\"aaaa\"};\n" + b" " * 100)
write("bomb.xbm", b"#define x_width 60000\n#define x_height 60000\nstatic char x_bits[] = {\n0x00};\n")
write("large.svg", b"<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"60000\" height=\"30000\">"
      b"<rect width=\"100%\" height=\"100%\" fill=\"#0f0\"/></svg>\n")

# Formats that have no signature, or a text for one.
write("corners.tga", bytes([0, 0, 2, 0, 0, 0, 0, 0])
      + struct.pack("<HHHHBB", 0, 0, WIDTH, HEIGHT, 24, 0x20)
      + b"".join(rows(lambda q: bytes(reversed(COLORS[q])))))
write("corners.ppm", b"P6\n48 32\n255\n" + b"".join(rows(lambda q: bytes(COLORS[q]))))
write("corners.xpm", b"/* XPM */\nstatic char * corners[] = {\n\"48 32 4 1\",\n"
      + b"".join(b"\"%d c #%02x%02x%02x\",\n" % ((q,) + COLORS[q]) for q in range(4))
      + b",\n".join(b'"' + row + b'"' for row in rows(lambda q: b"%d" % q)) + b"};\n")
write("text.svg", b"""<svg xmlns="http://www.w3.org/2000/svg" width="48" height="32">
<text x="2" y="20" font-family="sans-serif" font-size="18">Aa</text></svg>
""")

# What unpacks to much more than it is. A test repeats the text, and the scan (which is what follows
# the last 0xFF 0xDA), as often as it wants.
write("bomb-text.png", png(WIDTH, HEIGHT, 8, 2, rows(lambda q: bytes(COLORS[q])),
                           chunk(b"zTXt", b"a\0\0" + zlib.compress(bytes(7900000), 9))))
write("bomb-embedded.svg", b"<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"48\" height=\"32\" "
      b"xmlns:xlink=\"http://www.w3.org/1999/xlink\"><image width=\"48\" height=\"32\" "
      b"xlink:href=\"data:image/png;base64," + base64.b64encode(
          png(20000, 20000, 1, 0, [bytes(2500)] * 20000)) + b"\"/></svg>\n")


def jpeg_segment(kind, data):
    return b"\xff" + bytes([kind]) + struct.pack(">H", len(data) + 2) + data


def empty_scan(width, height, first, last):
    """A progressive scan in which every block ends at once."""
    blocks = (width + 7) // 8 * ((height + 7) // 8)
    bits = ""
    if first == 0:
        bits = "0" * blocks  # of length 1: no difference
    else:
        while blocks > 0:
            run = min(blocks, 32767)
            size = run.bit_length() - 1
            # The code of "2 ** size blocks and more" is its size, in four bits.
            bits += format(size, "04b") + (format(run - (1 << size), "b").zfill(size) if size else "")
            blocks -= run
    bits += "1" * (-len(bits) % 8)
    data = bytes(int(bits[i:i + 8], 2) for i in range(0, len(bits), 8)).replace(b"\xff", b"\xff\0")
    return jpeg_segment(0xDA, bytes([1, 1, 0, first, last, 0])) + data


side = 6000
write("bomb-scans.jpg", b"\xff\xd8" + jpeg_segment(0xDB, bytes([0]) + b"\1" * 64)
      + jpeg_segment(0xC2, struct.pack(">BHHBBBB", 8, side, side, 1, 1, 0x11, 0))
      + jpeg_segment(0xC4, bytes([0, 1] + [0] * 15 + [0]))
      + jpeg_segment(0xC4, bytes([0x10] + [0, 0, 0, 15] + [0] * 12 + [n << 4 for n in range(15)]))
      + empty_scan(side, side, 0, 0) + empty_scan(side, side, 1, 63) + b"\xff\xd9")
