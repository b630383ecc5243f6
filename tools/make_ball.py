#!/usr/bin/python3
"""Makes assets/ball.png, the emblem: a blue ball with one warm wave running round it.

The wave is one period of a slow oscillation, the heart rate over a breath. The ball is a shaded
sphere: diffuse light from the upper left, light coming back from the ground, a soft highlight and
a contact shadow on a transparent background. A fine film grain keeps the gradients free of bands;
its strength also decides how well the picture compresses, and is set so that the file has exactly
the size wanted.
"""

import io
from pathlib import Path

import numpy as np
from PIL import Image
from PIL.PngImagePlugin import PngInfo

ASSETS = Path(__file__).resolve().parent.parent / "assets"
WIDTH, HEIGHT = 378, 415
SIZE = 166420  # bytes of the file
OVERSAMPLING = 4  # per axis, for smooth edges

CENTRE = np.array([189.0, 184.0])  # pixels
RADIUS = 172.0
LIGHT = np.array([-0.50, 0.78, 0.62])  # x to the right, y up, z towards the viewer

BLUE_DEEP = np.array([0.008, 0.050, 0.150])  # linear light, as all colours here
BLUE = np.array([0.030, 0.220, 0.480])
BLUE_LIT = np.array([0.130, 0.460, 0.740])
WARM = np.array([0.900, 0.300, 0.050])
WARM_LIT = np.array([1.000, 0.500, 0.160])
GROUND = np.array([0.300, 0.440, 0.540])


def unit(vector):
    return vector / np.linalg.norm(vector)


def smoothstep(low, high, x):
    x = np.clip((x - low) / (high - low), 0, 1)
    return x * x * (3 - 2 * x)


def mix(a, b, share):
    return a + (b - a) * share[..., None]


def wave_share(normal):
    """1 on the wave, 0 off it: a band along latitude 0.26 sin(2 longitude) of a tilted globe."""
    tilt = np.deg2rad(-17)
    x = normal[..., 0] * np.cos(tilt) - normal[..., 1] * np.sin(tilt)
    y = normal[..., 0] * np.sin(tilt) + normal[..., 1] * np.cos(tilt)
    longitude = np.arctan2(x, normal[..., 2])
    path = 0.26 * np.sin(2.0 * longitude)
    slope = 0.52 * np.cos(2.0 * longitude)
    distance = np.abs(np.arcsin(np.clip(y, -1, 1)) - path) / np.sqrt(1 + slope**2)
    edge = 0.006
    return 1 - smoothstep(0.125 - edge, 0.125 + edge, distance)


def matte(normal, wave):
    """Linear-light colour of the surface without its gloss; `wave` is the share of the wave there."""
    facing = normal @ unit(LIGHT)
    lit = smoothstep(-0.55, 1.0, facing)
    blue = mix(BLUE_DEEP, BLUE, smoothstep(0.0, 0.55, lit))
    blue = mix(blue, BLUE_LIT, smoothstep(0.45, 1.0, lit))
    warm = mix(0.20 * WARM, WARM, smoothstep(0.0, 0.6, lit))
    warm = mix(warm, WARM_LIT, smoothstep(0.5, 1.0, lit))
    colour = mix(blue, warm, wave)

    rim = (1 - normal[..., 2]) ** 3
    below = np.clip(-normal[..., 1], 0, 1)
    return colour * (1 - 0.35 * rim[..., None]) + GROUND * (0.45 * rim * below)[..., None]


def halfway():
    """The normal at which the light is mirrored to the viewer."""
    return unit(unit(LIGHT) + np.array([0.0, 0.0, 1.0]))


def gloss(normal):
    """Share of white light that the surface mirrors."""
    mirror = np.clip(normal @ halfway(), 0, 1)
    return 0.72 * mirror**120 + 0.18 * mirror**22 + 0.06 * mirror**5


def shade(normal):
    """Linear-light colour of the sphere's surface for unit normals towards the viewer."""
    colour = matte(normal, wave_share(normal))
    return 1 - (1 - np.clip(colour, 0, 1)) * (1 - gloss(normal)[..., None])  # screen


def ground_shadow(x, y):
    """Opacity of the shadow: a dark line of contact inside a wide soft ellipse."""
    def ellipse(half_width, half_height, top):
        return np.hypot((x - CENTRE[0] - 5) / half_width, (y - top) / half_height)
    wide = 1 - smoothstep(0.0, 1.0, ellipse(158, 36, 372))
    contact = 1 - smoothstep(0.0, 1.0, ellipse(88, 15, 359))
    return 1 - (1 - 0.42 * wide) * (1 - 0.40 * contact)


def to_srgb(linear):
    linear = np.clip(linear, 0, 1)
    return np.where(linear <= 0.0031308, 12.92 * linear, 1.055 * linear ** (1 / 2.4) - 0.055)


def render():
    """HEIGHT x WIDTH x 4 values from 0 to 255, not yet rounded, alpha not multiplied in."""
    n = OVERSAMPLING
    y, x = np.mgrid[0:HEIGHT * n, 0:WIDTH * n]
    x, y = (x + 0.5) / n, (y + 0.5) / n
    normal = np.stack([(x - CENTRE[0]) / RADIUS, (CENTRE[1] - y) / RADIUS], axis=-1)
    squared = (normal**2).sum(axis=-1)
    inside = squared <= 1
    depth = np.sqrt(np.where(inside, 1 - squared, 0))
    normal = np.concatenate([normal, depth[..., None]], axis=-1)

    alpha = np.where(inside, 1.0, ground_shadow(x, y))
    shadow_colour = np.array([0.010, 0.025, 0.060])
    colour = np.where(inside[..., None], shade(normal), shadow_colour)
    premultiplied = np.concatenate([colour * alpha[..., None], alpha[..., None]], axis=-1)
    pixels = premultiplied.reshape(HEIGHT, n, WIDTH, n, 4).mean(axis=(1, 3))
    opacity = pixels[..., 3:]
    colour = pixels[..., :3] / np.maximum(opacity, 1e-9)
    return 255 * np.concatenate([to_srgb(colour), opacity], axis=-1)


def with_grain(picture, grain, strength):
    """Rounded to 8 bits with the grain added to the colours; clear pixels are all zero."""
    pixels = picture.copy()
    pixels[..., :3] += strength * grain
    pixels = np.rint(np.clip(pixels, 0, 255)).astype(np.uint8)
    pixels[pixels[..., 3] == 0] = 0
    return pixels


def encode(pixels):
    about = PngInfo()
    about.add_text("Title", "Talvern Live emblem")
    about.add_text("Software", "tools/make_ball.py")
    out = io.BytesIO()
    Image.fromarray(pixels, "RGBA").save(out, "PNG", compress_level=9, pnginfo=about)
    return out.getvalue()


def fit_to_size(picture):
    """The file at the grain strength, near the one found by bisection, that gives SIZE exactly."""
    rng = np.random.default_rng(2)
    grain = (0.8 * rng.standard_normal((HEIGHT, WIDTH, 1))
             + 0.6 * rng.standard_normal((HEIGHT, WIDTH, 3)))
    low, high = 0.0, 8.0
    while high - low > 1e-4:
        middle = (low + high) / 2
        if len(encode(with_grain(picture, grain, middle))) < SIZE:
            low = middle
        else:
            high = middle
    for step in range(2000):
        for strength in (low + 1e-5 * step, low - 1e-5 * step):
            data = encode(with_grain(picture, grain, strength))
            if len(data) == SIZE:
                return data, strength
    raise SystemExit(f"no grain strength near {low:.4f} gives {SIZE} bytes")


def main():
    data, strength = fit_to_size(render())
    (ASSETS / "ball.png").write_bytes(data)
    print(f"ball.png: {len(data)} bytes, grain strength {strength:.5f}")


if __name__ == "__main__":
    main()
