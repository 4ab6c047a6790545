#!/usr/bin/env python3
"""Copies the example games of media/examples/ into the knowledge base (media/knowledge/examples.md)
after its hand-written examples, in the knowledge base's example format: a "## " title line, a
one-line summary, a line of patterns, the document between lines of three backticks, and a line
of "=". Run after editing an example: python3 tools/lmd-example-assets/sync_knowledge_examples.py"""
import os

ROOT = os.path.join(os.path.dirname(__file__), "..", "..", "media")
FIRST = "## Coin Hopper (platformer)"

EXAMPLES = [
    ("Coin Hopper (platformer)",
     "A two-level platformer: run and jump over textured steps, collect four spinning coins, touch the flag to reach the sky level.",
     "Patterns: a dynamic body with lockRotation steered by SetVelocity (OnKeyHeld/OnKeyUp), a jump with ApplyForce "
     "impulse only when the vertical speed is near 0, PlaySound of declared sounds, a following camera, coins as static "
     "sensors with OnCollision and Destroy inside them, a score placeholder, GoToLevel to the next level and (empty) to "
     "restart after a fall, a moving platform (a kinematic body moved by Move carries what stands on it), Materials with pictures and a SkyBox.",
     "platformer.xml"),
    ("Saucer Siege (top-down shooter)",
     "A top-down arena shooter without gravity: steer a ship with the arrows or the on-screen stick, fire with Space, hit the saucers for points before they reach you.",
     "Patterns: Level gravityY=\"0\", moving things as dynamic sensor bodies (sensors touching each other report "
     "collisions), Clone of a hidden bullet template placed with offset expressions, events of the template that its "
     "clones inherit (self), Destroy target=\"other\", Set of object properties (Enemy.x), random, clamping with "
     "min/max, a Joystick with OnJoystick (stickX, stickY), game over with Hide and a restart key.",
     "shooter.xml"),
    ("Night Circuit (driving)",
     "Drive a car round a square circuit in the fog: Up/Down for speed, Left/Right to steer, pass the four yellow gates.",
     "Patterns: a speed variable changed by OnKeyHeld and turned into SetVelocity space=\"local\" each frame, Rotate "
     "for steering, a Camera inside the car so it rides along, gates as static sensors that Hide themselves, a "
     "speedometer with an expression placeholder {round(speed * 3.6)}, Fog, SkyBox and tiled road Materials.",
     "driving.xml"),
    ("Lights Out (puzzle)",
     "The classic 3x3 Lights Out: clicking a tile switches it and its neighbours; light every tile in as few moves as you can.",
     "Patterns: OnClick on 3D objects, an Array as the board, Functions with parameters (press, flip, paint, "
     "scramble), ForEach to count, SetColor per tile, a tweened Rotate as feedback, a Button2D that restarts, OnStart "
     "to set up the level.",
     "puzzle.xml"),
    ("River Ferry (click to walk)",
     "Click a bank or the ferry and the walker walks to the spot clicked; a ferry shuttles across the river, docks at each bank for two seconds, and carries the walker standing on it.",
     "Patterns: clickX/clickZ/clickObject read in an OnClick (through a Function shared by three objects) to set a "
     "goal, steering toward the goal with SetVelocity in OnUpdate and stopping on arrival, a kinematic ferry moved by "
     "Move that docks for two seconds at each bank and carries what stands on it, pointerObject in a text placeholder, "
     "GoToLevel (empty) to restart after a fall.",
     "ferry.xml"),
]

if __name__ == "__main__":
    path = os.path.join(ROOT, "knowledge", "examples.md")
    text = open(path, encoding="utf-8").read()
    at = text.find(FIRST)
    if at >= 0:
        text = text[:at]
    text = text.rstrip("\n") + "\n"
    for title, summary, patterns, file in EXAMPLES:
        xml = open(os.path.join(ROOT, "examples", file), encoding="utf-8").read().rstrip("\n")
        text += f"\n## {title}\n{summary}\n\n{patterns}\n\n```\n{xml}\n```\n========\n"
    open(path, "w", encoding="utf-8").write(text)
