#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Draws what bench_plot measured: plot.py ROWS.csv PICTURE.svg"""
import csv
import math
import sys

KINDS = [("default", "by address (the default)"), ("exact", "exact"),
         ("nocase", "exact, case ignored"), ("domains", "domains and sub-domains")]
PEOPLE = [("kwlookup", "#1f5fa8", ""), ("absl::flat_hash_set", "#b4532a", "6 4")]
MEASURES = [("ns", "nanoseconds a search", 10, 10000), ("bytes", "bytes an entry", 10, 1000)]
WIDTH, HEIGHT, LEFT, TOP, GAP = 200, 170, 60, 60, 45


def panel(rows, kind, measure, left, top, low, high):
    """The lines of one kind and measure, on logarithmic axes."""
    def x(entries):
        return left + WIDTH * (math.log10(entries) - 3) / 4

    def y(value):
        share = math.log10(value / low) / math.log10(high / low)
        return top + HEIGHT * (1 - min(max(share, 0), 1))

    out = [f'<rect x="{left}" y="{top}" width="{WIDTH}" height="{HEIGHT}" class="frame"/>']
    for power in range(3, 8):
        out.append(f'<text x="{x(10 ** power):.1f}" y="{top + HEIGHT + 14}" '
                   f'text-anchor="middle">10<tspan dy="-4" font-size="8">{power}</tspan></text>')
    value = low
    while value <= high:
        out.append(f'<line x1="{left}" x2="{left + WIDTH}" y1="{y(value):.1f}" '
                   f'y2="{y(value):.1f}" class="grid"/>')
        out.append(f'<text x="{left - 5}" y="{y(value) + 4:.1f}" text-anchor="end">{value}</text>')
        value *= 10
    for name, colour, dash in PEOPLE:
        points = [(x(int(row["entries"])), y(float(row[measure]))) for row in rows
                  if row["kind"] == kind and row["what"] == name]
        line = " ".join(f"{px:.1f},{py:.1f}" for px, py in points)
        out.append(f'<polyline points="{line}" fill="none" stroke="{colour}" stroke-width="2" '
                   f'stroke-dasharray="{dash}"/>')
        out += [f'<circle cx="{px:.1f}" cy="{py:.1f}" r="3" fill="{colour}"/>'
                for px, py in points]
    return out


def main():
    with open(sys.argv[1], newline="", encoding="utf-8") as file:
        rows = list(csv.DictReader(file))
    width = LEFT + len(KINDS) * (WIDTH + GAP)
    height = TOP + len(MEASURES) * (HEIGHT + GAP + 10)
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
           f'viewBox="0 0 {width} {height}">',
           '<style>text { font: 11px sans-serif; fill: #222 } .frame { fill: none; stroke: #888 }'
           ' .grid { stroke: #ddd } .title { font-weight: bold }</style>',
           f'<rect width="{width}" height="{height}" fill="white"/>']
    for number, (name, colour, dash) in enumerate(PEOPLE):
        at = LEFT + 180 * number
        out.append(f'<line x1="{at}" x2="{at + 30}" y1="16" y2="16" stroke="{colour}" '
                   f'stroke-width="2" stroke-dasharray="{dash}"/>')
        out.append(f'<text x="{at + 36}" y="20">{name}</text>')
    for column, (kind, title) in enumerate(KINDS):
        left = LEFT + column * (WIDTH + GAP)
        out.append(f'<text x="{left}" y="{TOP - 20}" class="title">{title}</text>')
        for line, (measure, label, low, high) in enumerate(MEASURES):
            top = TOP + line * (HEIGHT + GAP + 10)
            out.append(f'<text x="{left}" y="{top - 5}">{label}, by entries</text>')
            out += panel(rows, kind, measure, left, top, low, high)
    out.append("</svg>")
    with open(sys.argv[2], "w", encoding="utf-8") as file:
        file.write("\n".join(out) + "\n")


if __name__ == "__main__":
    main()
