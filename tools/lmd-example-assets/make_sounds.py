#!/usr/bin/env python3
"""Writes the short sound effects the example games use into media/sounds/ (16-bit mono WAV,
synthesised here so that their origin is plain). Run from the source tree:
python3 tools/lmd-example-assets/make_sounds.py"""
import math
import os
import struct
import wave

OUT = os.path.join(os.path.dirname(__file__), "..", "..", "media", "sounds")
RATE = 22050


def write(name, samples):
    with wave.open(os.path.join(OUT, name), "wb") as w:
        w.setnchannels(1)
        w.setsampwidth(2)
        w.setframerate(RATE)
        w.writeframes(b"".join(struct.pack("<h", int(max(-1, min(1, s)) * 30000)) for s in samples))


def sweep(start, end, seconds, decay):
    n = int(RATE * seconds)
    phase = 0.0
    for i in range(n):
        t = i / n
        phase += 2 * math.pi * (start + (end - start) * t) / RATE
        yield math.sin(phase) * math.exp(-decay * t) * 0.6


def chime(notes, each):
    for f in notes:
        n = int(RATE * each)
        for i in range(n):
            yield math.sin(2 * math.pi * f * i / RATE) * math.exp(-4 * i / n) * 0.5


if __name__ == "__main__":
    os.makedirs(OUT, exist_ok=True)
    write("jump.wav", sweep(300, 700, 0.18, 3))
    write("coin.wav", chime([988, 1319], 0.09))
    write("laser.wav", sweep(1400, 300, 0.12, 5))
    write("hit.wav", sweep(200, 60, 0.25, 4))
