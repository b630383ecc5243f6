#!/usr/bin/python3
"""Makes packaging/icons/: the emblem for menus, as pictures of four sizes and as a drawing.

The pictures are the ball of make_ball.py, without its film grain, which small pictures turn into
dirt. The drawing has the same outline, wave and light: the wave's edges are points of the tilted
globe, the light is radial gradients around the spots that it hits, with colours taken from the
ball's surface along the line from there to the far side.
"""

from pathlib import Path

import numpy as np
from PIL import Image

import make_ball as ball

ICONS = Path(__file__).resolve().parent.parent / "packaging" / "icons"
SIZES = (48, 64, 128, 256)
# The square cut out of the emblem, in its pixels: the ball and its shadow.
SIDE = 400
LEFT, TOP = ball.CENTRE[0] - SIDE / 2, 9.0


def square():
    """The emblem on a clear square of SIDE pixels, alpha multiplied in, 0 to 255."""
    picture = ball.render()
    picture[..., :3] *= picture[..., 3:] / 255
    result = np.zeros((SIDE, SIDE, 4))
    left, top = int(-LEFT), int(TOP)
    rows = min(SIDE, ball.HEIGHT - top)
    result[:rows, left:left + ball.WIDTH] = picture[top:top + rows]
    return result


def scaled(picture, size):
    """RGBA pixels; each channel is resized alone, as whole numbers would lose the soft shadow."""
    channels = [np.asarray(Image.fromarray(picture[..., c].astype(np.float32), "F")
                           .resize((size, size), Image.Resampling.LANCZOS)) for c in range(4)]
    pixels = np.clip(np.stack(channels, axis=-1), 0, 255)
    opacity = pixels[..., 3:] / 255
    pixels[..., :3] = np.clip(pixels[..., :3] / np.maximum(opacity, 1e-6), 0, 255)
    pixels = np.rint(pixels).astype(np.uint8)
    pixels[pixels[..., 3] == 0] = 0
    return pixels


def wave_outline(points=40):
    """The corners of the wave's band in pixels of the emblem, along one edge and back the other."""
    tilt = np.deg2rad(-17)
    longitude = np.linspace(-np.pi / 2, np.pi / 2, points)
    middle = 0.26 * np.sin(2.0 * longitude)
    half_width = 0.125 * np.sqrt(1 + (0.52 * np.cos(2.0 * longitude)) ** 2)
    latitude = np.concatenate([middle + half_width, (middle - half_width)[::-1]])
    longitude = np.concatenate([longitude, longitude[::-1]])
    x, y = np.cos(latitude) * np.sin(longitude), np.sin(latitude)
    across = x * np.cos(tilt) + y * np.sin(tilt)
    up = -x * np.sin(tilt) + y * np.cos(tilt)
    return ball.CENTRE + ball.RADIUS * np.stack([across, -up], axis=-1)


def line_to_far_side(spot, count):
    """Normals from the one at `spot` across the ball to its rim on the other side, evenly seen."""
    direction = -spot[:2] / np.hypot(*spot[:2])
    length = 1 + np.hypot(*spot[:2])
    flat = spot[:2] + np.linspace(0, 0.999 * length, count)[:, None] * direction
    depth = np.sqrt(np.maximum(0, 1 - (flat**2).sum(axis=-1)))
    return np.concatenate([flat, depth[:, None]], axis=-1), length


def gradient(name, spot, colours, opacities, reach):
    """A radial gradient around the normal `spot`, `reach` radii wide, with evenly spaced stops."""
    x, y = ball.CENTRE + ball.RADIUS * spot[:2] * np.array([1, -1])
    stops = "".join(
        '<stop offset="{:.3f}" stop-color="#{:02x}{:02x}{:02x}" stop-opacity="{:.3f}"/>'.format(
            offset, *np.rint(255 * ball.to_srgb(colour)).astype(int), opacity)
        for offset, colour, opacity in zip(np.linspace(0, 1, len(colours)), colours, opacities))
    return (f'<radialGradient id="{name}" gradientUnits="userSpaceOnUse" cx="{x:.1f}" cy="{y:.1f}"'
            f' r="{reach * ball.RADIUS:.1f}">{stops}</radialGradient>\n')


def shadow(name, y, half_width, half_height, opacity):
    """A soft ellipse on the ground, as in make_ball.ground_shadow."""
    x = ball.CENTRE[0] + 5
    fall = [opacity * (1 - ball.smoothstep(0.0, 1.0, r)) for r in np.linspace(0, 1, 9)]
    stops = "".join(f'<stop offset="{offset:.3f}" stop-color="#1a2c46" stop-opacity="{o:.3f}"/>'
                    for offset, o in zip(np.linspace(0, 1, 9), fall))
    return (f'<radialGradient id="{name}">{stops}</radialGradient>\n',
            f'<ellipse cx="{x:.0f}" cy="{y}" rx="{half_width}" ry="{half_height}"'
            f' fill="url(#{name})"/>\n')


def drawing():
    light, mirror = ball.unit(ball.LIGHT), ball.halfway()
    normals, reach = line_to_far_side(light, 17)
    opaque = np.ones(len(normals))
    blue = np.clip(ball.matte(normals, np.zeros(len(normals))), 0, 1)
    warm = np.clip(ball.matte(normals, opaque), 0, 1)
    glossy, gloss_reach = line_to_far_side(mirror, 33)
    white = np.ones((len(glossy), 3))
    wide, wide_shape = shadow("wide", 372, 158, 36, 0.42)
    contact, contact_shape = shadow("contact", 359, 88, 15, 0.40)
    x, y = ball.CENTRE
    circle = f'<circle cx="{x:.0f}" cy="{y:.0f}" r="{ball.RADIUS:.0f}"'
    wave = " ".join(f"{px:.1f},{py:.1f}" for px, py in wave_outline())
    return (
        '<?xml version="1.0" encoding="UTF-8"?>\n'
        '<svg xmlns="http://www.w3.org/2000/svg" width="128" height="128"'
        f' viewBox="{LEFT:.0f} {TOP:.0f} {SIDE} {SIDE}">\n'
        "<title>Talvern Live</title>\n<!-- Made by tools/make_icons.py. -->\n<defs>\n"
        + gradient("blue", light, blue, opaque, reach)
        + gradient("warm", light, warm, opaque, reach)
        # sRGB mixes more softly than light does: the share is taken in sRGB.
        + gradient("gloss", mirror, white, ball.to_srgb(ball.gloss(glossy)) ** 1.3, gloss_reach)
        + wide + contact
        + f'<clipPath id="ball">{circle}/></clipPath>\n</defs>\n'
        + wide_shape + contact_shape
        + f'{circle} fill="url(#blue)"/>\n'
        + f'<polygon points="{wave}" fill="url(#warm)" clip-path="url(#ball)"/>\n'
        + f'{circle} fill="url(#gloss)"/>\n</svg>\n')


def main():
    ICONS.mkdir(parents=True, exist_ok=True)
    picture = square()
    for size in SIZES:
        Image.fromarray(scaled(picture, size), "RGBA").save(
            ICONS / f"{size}x{size}.png", "PNG", optimize=True)
    (ICONS / "scalable.svg").write_text(drawing())


if __name__ == "__main__":
    main()
