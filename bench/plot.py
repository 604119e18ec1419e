# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""Growth curves as SVG, both axes logarithmic."""
import math

WIDTH, HEIGHT = 640, 400
LEFT, RIGHT, TOP, BOTTOM = 80, 150, 40, 50
COLOURS = ("#1f5fa8", "#b8402a", "#3a7d34")


def decades(low, high):
    return range(math.floor(math.log10(low)), math.ceil(math.log10(high)) + 1)


def short(value):
    for limit, unit in ((1e9, "G"), (1e6, "M"), (1e3, "k")):
        if value >= limit:
            return f"{value / limit:g} {unit}"
    return f"{value:g}"


def growth(title, x_title, y_title, curves):
    """curves: {name: [(x, y), ...]}."""
    xs = [x for points in curves.values() for x, _ in points]
    ys = [y for points in curves.values() for _, y in points]
    x_low, x_high = math.log10(min(xs)), math.log10(max(xs))
    y_ticks = decades(min(ys), max(ys))
    y_low, y_high = y_ticks[0], max(y_ticks[-1], y_ticks[0] + 1)

    def x_at(x):
        return LEFT + (math.log10(x) - x_low) / (x_high - x_low) * (WIDTH - LEFT - RIGHT)

    def y_at(y):
        return HEIGHT - BOTTOM - (math.log10(y) - y_low) / (y_high - y_low) * (HEIGHT - TOP - BOTTOM)

    out = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" '
           'font-family="sans-serif" font-size="12">',
           f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
           f'<text x="{LEFT}" y="22" font-size="15">{title}</text>']
    for power in y_ticks:
        y = y_at(10 ** power)
        out.append(f'<line x1="{LEFT}" y1="{y:.1f}" x2="{WIDTH - RIGHT}" y2="{y:.1f}" stroke="#ddd"/>')
        out.append(f'<text x="{LEFT - 8}" y="{y + 4:.1f}" text-anchor="end">{short(10 ** power)}</text>')
    for x in sorted(set(xs)):
        out.append(f'<text x="{x_at(x):.1f}" y="{HEIGHT - BOTTOM + 18}" '
                   f'text-anchor="middle">{x}</text>')
    out.append(f'<text x="{(LEFT + WIDTH - RIGHT) / 2}" y="{HEIGHT - 10}" '
               f'text-anchor="middle">{x_title}</text>')
    out.append(f'<text x="16" y="{(TOP + HEIGHT - BOTTOM) / 2}" text-anchor="middle" '
               f'transform="rotate(-90 16 {(TOP + HEIGHT - BOTTOM) / 2})">{y_title}</text>')
    for (name, points), colour in zip(curves.items(), COLOURS):
        line = " ".join(f"{x_at(x):.1f},{y_at(y):.1f}" for x, y in points)
        out.append(f'<polyline points="{line}" fill="none" stroke="{colour}" stroke-width="2"/>')
        out += [f'<circle cx="{x_at(x):.1f}" cy="{y_at(y):.1f}" r="3" fill="{colour}"/>'
                for x, y in points]
        x, y = points[-1]
        out.append(f'<text x="{x_at(x) + 8:.1f}" y="{y_at(y) + 4:.1f}" fill="{colour}">{name}</text>')
    out.append("</svg>")
    return "\n".join(out) + "\n"
