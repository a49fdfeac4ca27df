#!/usr/bin/python3
"""Makes the pictures and documents of this notes set from nothing but arithmetic, so
every byte here is ours. Run from this folder: /usr/bin/python3 make_files.py
(needs Debian's python3-pil)."""
import math
import zlib

from PIL import Image, ImageDraw


def gradient(width, height, top, bottom):
    image = Image.new("RGB", (width, height))
    draw = ImageDraw.Draw(image)
    for y in range(height):
        t = y / max(1, height - 1)
        draw.line([(0, y), (width, y)], fill=tuple(int(a + (b - a) * t) for a, b in zip(top, bottom)))
    return image


def sunrise(path):
    image = gradient(160, 120, (20, 30, 90), (250, 170, 60))
    ImageDraw.Draw(image).ellipse([55, 70, 105, 120], fill=(255, 220, 80))
    image.save(path, "JPEG", quality=85)


def chart(path):
    image = Image.new("RGB", (120, 80), (255, 255, 255))
    draw = ImageDraw.Draw(image)
    for i, h in enumerate((30, 55, 20, 70, 45)):
        draw.rectangle([10 + i * 22, 78 - h, 26 + i * 22, 78], fill=(40 + i * 40, 120, 200 - i * 30))
    image.save(path, "PNG")


def spinner(path):
    frames = []
    for k in range(4):
        frame = Image.new("P", (48, 48), 0)
        frame.putpalette([255, 255, 255, 200, 40, 40] + [0, 0, 0] * 254)
        angle = k * math.pi / 2
        x, y = 24 + 14 * math.cos(angle), 24 + 14 * math.sin(angle)
        ImageDraw.Draw(frame).ellipse([x - 6, y - 6, x + 6, y + 6], fill=1)
        frames.append(frame)
    frames[0].save(path, "GIF", save_all=True, append_images=frames[1:], duration=200, loop=0)


def sketch(path):
    image = Image.new("RGB", (200, 150), (255, 255, 255))
    draw = ImageDraw.Draw(image)
    draw.line([(20, 120), (100, 30), (180, 120), (20, 120)], fill=(0, 0, 0), width=3)
    draw.ellipse([85, 70, 115, 100], outline=(0, 90, 200), width=3)
    image.save(path, "JPEG", quality=90)


def pdf(path, lines):
    """A one-page PDF of text lines in Helvetica, with a correct cross-reference table."""
    text = "BT /F1 14 Tf 50 780 Td 18 TL " + " ".join(
        "(%s) '" % line.replace("\\", "\\\\").replace("(", "\\(").replace(")", "\\)") for line in lines) + " ET"
    stream = zlib.compress(text.encode("latin-1"))
    objects = [
        b"<< /Type /Catalog /Pages 2 0 R >>",
        b"<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842] /Contents 4 0 R"
        b" /Resources << /Font << /F1 5 0 R >> >> >>",
        b"<< /Length %d /Filter /FlateDecode >>\nstream\n" % len(stream) + stream + b"\nendstream",
        b"<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>",
    ]
    out, offsets = bytearray(b"%PDF-1.4\n%\xe2\xe3\xcf\xd3\n"), []
    for number, body in enumerate(objects, 1):
        offsets.append(len(out))
        out += b"%d 0 obj\n" % number + body + b"\nendobj\n"
    xref = len(out)
    out += b"xref\n0 %d\n0000000000 65535 f \n" % (len(objects) + 1)
    out += b"".join(b"%010d 00000 n \n" % offset for offset in offsets)
    out += b"trailer\n<< /Size %d /Root 1 0 R >>\nstartxref\n%d\n%%%%EOF\n" % (len(objects) + 1, xref)
    with open(path, "wb") as f:
        f.write(bytes(out))


if __name__ == "__main__":
    sunrise("Travel/sunrise.jpg")
    chart("Work/chart.png")
    spinner("spinner.gif")
    sketch("Travel/Japan/route sketch.jpg")
    pdf("Travel/Japan/receipt scan.pdf", ["Receipt", "Ramen 1200 JPY", "Tea 300 JPY"])
    pdf("Work/agenda.pdf", ["Agenda", "1. Budget", "2. Roadmap"])
    sunrise("Locked/secret photo.jpg")
