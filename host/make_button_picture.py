#!/usr/bin/env python3
"""Draws the add-in's button picture and writes it as a Windows icon file
holding a 16 x 16 and a 32 x 32 image (32-bit colour with alpha).

The picture: a blue rounded tile with a white page whose corner is folded,
and a green arrow rising from the page, the add-in's "attachment goes up to
the library" in one glyph. Drawn from shapes with 4 x 4 supersampling, so
both sizes come from the same drawing.

The picture lives with the timer form: host/quillbox.rc builds the icon
into the add-in's resources as QBXBUTTON, frmTimer::imgQBXToolbar
(attachments/frmTimer.cpp) loads it, and the ribbon's image callback
getImages (host/ribbon.cpp) hands it to Outlook.

    python3 host/make_button_picture.py host/qbx_button.ico
"""
import struct
import sys

SAMPLES = 4


def inside_round_rect(x, y, x0, y0, x1, y1, r):
    if x < x0 or x > x1 or y < y0 or y > y1:
        return False
    cx = min(max(x, x0 + r), x1 - r)
    cy = min(max(y, y0 + r), y1 - r)
    return (x - cx) ** 2 + (y - cy) ** 2 <= r * r


def inside_page(x, y):
    # A page with its top-right corner cut off (the fold).
    if not (0.22 <= x <= 0.70 and 0.16 <= y <= 0.86):
        return False
    return (x - 0.56) + (0.16 - y) <= 0.0 or x < 0.56 or y > 0.30


def inside_fold(x, y):
    # The folded corner: the triangle under the cut.
    return 0.56 <= x <= 0.70 and 0.16 <= y <= 0.30 and (x - 0.56) <= (y - 0.16)


def inside_arrow(x, y):
    # Shaft and head of an arrow pointing up, right of the page.
    shaft = 0.69 <= x <= 0.81 and 0.46 <= y <= 0.84
    head = 0.30 <= y <= 0.50 and abs(x - 0.75) <= (y - 0.30) * 0.9
    return shaft or head


def colour_at(x, y):
    """RGBA (0..255 floats) of the drawing at unit coordinates, y downwards."""
    if inside_arrow(x, y):
        return (46, 160, 67, 255)
    if inside_fold(x, y):
        return (200, 214, 232, 255)
    if inside_page(x, y):
        lines = 0.40 <= y <= 0.78 and 0.30 <= x <= 0.60 and int((y - 0.40) / 0.08 * 2) % 2 == 0
        return (120, 140, 170, 255) if lines else (255, 255, 255, 255)
    if inside_round_rect(x, y, 0.04, 0.04, 0.96, 0.96, 0.18):
        shade = 1.0 - 0.25 * y
        return (30 * shade, 100 * shade, 200 * shade, 255)
    return (0, 0, 0, 0)


def render(size):
    """Rows of (b, g, r, a) tuples, top row first."""
    rows = []
    for py in range(size):
        row = []
        for px in range(size):
            acc = [0.0, 0.0, 0.0, 0.0]
            for sy in range(SAMPLES):
                for sx in range(SAMPLES):
                    r, g, b, a = colour_at((px + (sx + 0.5) / SAMPLES) / size, (py + (sy + 0.5) / SAMPLES) / size)
                    acc[0] += r * a
                    acc[1] += g * a
                    acc[2] += b * a
                    acc[3] += a
            n = SAMPLES * SAMPLES
            alpha = acc[3] / n
            if alpha > 0:
                r, g, b = (acc[i] / acc[3] for i in range(3))
            else:
                r = g = b = 0
            row.append((round(b), round(g), round(r), round(alpha)))
        rows.append(row)
    return rows


def icon_image(size):
    """One icon image: BITMAPINFOHEADER, BGRA pixels bottom-up, AND mask."""
    rows = render(size)
    header = struct.pack("<IiiHHIIiiII", 40, size, size * 2, 1, 32, 0, 0, 0, 0, 0, 0)
    pixels = b"".join(bytes(c for px in row for c in px) for row in reversed(rows))
    mask_row_bytes = ((size + 31) // 32) * 4
    mask = bytearray()
    for row in reversed(rows):
        bits = bytearray(mask_row_bytes)
        for x, px in enumerate(row):
            if px[3] == 0:
                bits[x // 8] |= 0x80 >> (x % 8)
        mask += bits
    return header + pixels + bytes(mask)


def icon_file(sizes):
    images = [icon_image(s) for s in sizes]
    out = struct.pack("<HHH", 0, 1, len(images))
    offset = 6 + 16 * len(images)
    for s, data in zip(sizes, images):
        out += struct.pack("<BBBBHHII", s % 256, s % 256, 0, 0, 1, 32, len(data), offset)
        offset += len(data)
    return out + b"".join(images)


def main():
    target = sys.argv[1] if len(sys.argv) > 1 else "qbx_button.ico"
    with open(target, "wb") as f:
        f.write(icon_file([16, 32]))


if __name__ == "__main__":
    main()
