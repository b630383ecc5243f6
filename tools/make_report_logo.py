#!/usr/bin/python3
"""Makes assets/report_logo.jpg, the head of the PDF reports: emblem, wordmark and a quiet wave.

The line under the name is a slow breath; the dots on it are heart beats, which stand closer
together where the heart runs faster. Drawn large and scaled down, on white, because the report
shows it only 118 points wide. The font is Lato (Debian's fonts-lato, SIL Open Font License).

A picture's size as JPEG follows from its content: the quality is fixed, and the wave is moved
along by hundredths of a pixel until the file has exactly the size wanted.
"""

import io
from pathlib import Path

import numpy as np
from PIL import Image, ImageDraw, ImageFont

import make_ball

ASSETS = Path(__file__).resolve().parent.parent / "assets"
FONTS = Path("/usr/share/fonts/truetype/lato")
WIDTH, HEIGHT = 700, 175
SIZE = 39598  # bytes of the file
QUALITY = 94
SCALE = 4  # drawn this much larger

NAVY = (18, 50, 88)
ORANGE = (226, 112, 24)
LINE = (146, 178, 208)
BEAT = (52, 120, 180)

BALL_LEFT, BALL_TOP, BALL_HEIGHT = 8, 10, 160
TEXT_LEFT, BASELINE, FONT_SIZE = 164, 98, 98
WAVE_LEFT, WAVE_RIGHT, WAVE_MIDDLE, WAVE_HEIGHT = 166, 676, 138, 13
WAVE_PERIOD = 170.0  # pixels


def font(style):
    return ImageFont.truetype(str(FONTS / f"Lato-{style}.ttf"), FONT_SIZE * SCALE)


def draw_name(draw):
    name, live = font("Bold"), font("Regular")
    at = (TEXT_LEFT * SCALE, BASELINE * SCALE)
    draw.text(at, "Talvern", font=name, fill=NAVY, anchor="ls")
    left = at[0] + name.getlength("Talvern") + 0.24 * FONT_SIZE * SCALE
    draw.text((left, at[1]), "Live", font=live, fill=ORANGE, anchor="ls")


def wave_height(x, shift):
    """Pixels above the middle; the line settles to rest at both ends."""
    ends = np.minimum(1, np.minimum(x - WAVE_LEFT, WAVE_RIGHT - x) / 60)
    return WAVE_HEIGHT * ends * np.sin(2 * np.pi * (x - WAVE_LEFT - shift) / WAVE_PERIOD)


def draw_wave(draw, shift):
    x = np.linspace(WAVE_LEFT, WAVE_RIGHT, 1200)
    points = [(SCALE * a, SCALE * (WAVE_MIDDLE - h)) for a, h in zip(x, wave_height(x, shift))]
    draw.line(points, fill=LINE, width=round(2.6 * SCALE), joint="curve")
    beat = WAVE_LEFT + 6.0
    while beat <= WAVE_RIGHT:
        height = float(wave_height(beat, shift))
        centre, radius = (SCALE * beat, SCALE * (WAVE_MIDDLE - height)), 4.0 * SCALE
        draw.ellipse([centre[0] - radius, centre[1] - radius,
                      centre[0] + radius, centre[1] + radius], fill=BEAT)
        beat += 21.5 * (1 - 0.30 * height / WAVE_HEIGHT)


def draw_ball(canvas):
    ball = Image.fromarray(np.rint(make_ball.render()).astype(np.uint8), "RGBA")
    size = (round(BALL_HEIGHT * ball.width / ball.height) * SCALE, BALL_HEIGHT * SCALE)
    ball = ball.resize(size, Image.Resampling.LANCZOS)
    canvas.paste(ball, (BALL_LEFT * SCALE, BALL_TOP * SCALE), ball)


def encode(background, shift):
    canvas = background.copy()
    draw_wave(ImageDraw.Draw(canvas), shift)
    picture = canvas.resize((WIDTH, HEIGHT), Image.Resampling.LANCZOS)
    out = io.BytesIO()
    picture.save(out, "JPEG", quality=QUALITY, subsampling="4:4:4", dpi=(427, 427))
    return out.getvalue()


def main():
    background = Image.new("RGB", (WIDTH * SCALE, HEIGHT * SCALE), "white")
    draw_ball(background)
    draw_name(ImageDraw.Draw(background))
    for step in range(round(100 * WAVE_PERIOD)):
        shift = 0.01 * step
        data = encode(background, shift)
        if len(data) == SIZE:
            (ASSETS / "report_logo.jpg").write_bytes(data)
            print(f"report_logo.jpg: {len(data)} bytes, wave moved by {shift:.2f} pixels")
            return
    raise SystemExit(f"no wave gives {SIZE} bytes; the last gave {len(data)}")


if __name__ == "__main__":
    main()
