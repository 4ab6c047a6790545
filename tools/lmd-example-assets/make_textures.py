#!/usr/bin/env python3
"""Writes the small textures the example games use into media/textures/ (PNG, made from code so
that their origin is plain). Run from the source tree: python3 tools/lmd-example-assets/make_textures.py"""
import math
import os
import random
import struct
import zlib

OUT = os.path.join(os.path.dirname(__file__), "..", "..", "media", "textures")


def write_png(name, width, height, pixel):
    rows = bytearray()
    for y in range(height):
        rows.append(0)
        for x in range(width):
            rows.extend(bytes(max(0, min(255, int(c))) for c in pixel(x, y)))
    def chunk(tag, data):
        body = tag + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)
    png = b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
    png += chunk(b"IDAT", zlib.compress(bytes(rows), 9)) + chunk(b"IEND", b"")
    with open(os.path.join(OUT, name), "wb") as f:
        f.write(png)


def noise(seed):
    rnd = random.Random(seed)
    table = [rnd.random() for _ in range(64 * 64)]
    return lambda x, y: table[(y % 64) * 64 + (x % 64)]


def grass():
    n = noise(1)
    return lambda x, y: (70 + 40 * n(x, y), 140 + 50 * n(x + 7, y + 3), 60 + 30 * n(x + 3, y + 9))


def bricks():
    n = noise(2)
    def px(x, y):
        row = y // 16
        offset = 16 if row % 2 else 0
        mortar = y % 16 < 2 or (x + offset) % 32 < 2
        if mortar:
            return (200, 195, 185)
        v = n(x // 4, y // 4)
        return (150 + 40 * v, 70 + 20 * v, 50 + 15 * v)
    return px


def crate():
    def px(x, y):
        edge = x < 8 or y < 8 or x > 119 or y > 119
        diagonal = abs(x - y) < 6 or abs(x + y - 127) < 6
        plank = (y // 16) % 2
        base = (170, 120, 60) if plank else (160, 112, 55)
        return (120, 80, 40) if edge or diagonal else base
    return px


def road():
    n = noise(3)
    def px(x, y):
        v = 60 + 25 * n(x, y)
        if 60 <= x < 68 and (y // 16) % 2 == 0:
            return (235, 220, 90)  # centre line
        if x < 4 or x >= 124:
            return (230, 230, 230)  # edges
        return (v, v, v + 4)
    return px


def sky():
    def px(x, y):
        t = y / 127.0
        cloud = 0.5 + 0.5 * math.sin(x / 9.0) * math.sin(y / 5.0 + x / 23.0)
        c = max(0.0, cloud - 0.75) * 3.0 if y < 80 else 0.0
        r = 90 + 120 * t + 140 * c
        g = 150 + 80 * t + 100 * c
        b = 235 + 15 * t + 20 * c
        return (r, g, b)
    return px


def metal():
    n = noise(4)
    return lambda x, y: (110 + 30 * n(x, y // 8), 120 + 30 * n(x, y // 8), 135 + 30 * n(x, y // 8))


if __name__ == "__main__":
    os.makedirs(OUT, exist_ok=True)
    write_png("grass.png", 128, 128, grass())
    write_png("bricks.png", 128, 128, bricks())
    write_png("crate.png", 128, 128, crate())
    write_png("road.png", 128, 128, road())
    write_png("sky.png", 256, 128, sky())
    write_png("metal.png", 128, 128, metal())
