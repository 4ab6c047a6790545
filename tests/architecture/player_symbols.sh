#!/usr/bin/env bash
# The standalone player links the engine alone: none of the editor's history, auto-save, gizmo or
# selection code. Reads the symbols of both programs with nm; the editor must show the same
# classes, so that an empty or unreadable symbol table cannot pass for a clean player.
#
#   player_symbols.sh <lumenda3d-player> <lumenda3d>
set -uo pipefail
player="$1"
editor="$2"
editing='Lmd(Gizmo[A-Za-z0-9]*|SourceFiles|EditHistory|HistoryRecord|TreeDiff|XmlTreeOps|AutoSaver|Selection|EditTools)::'

if [ "$(nm -C "$editor" | grep -Ec "$editing")" -eq 0 ]; then
  echo "FAILED: nm shows none of the editing classes in the editor ($editor): the check itself is broken"
  exit 1
fi
found="$(nm -C "$player" | grep -Eo "$editing" | sort -u)"
if [ -n "$found" ]; then
  echo "FAILED: the player links editing code:"
  echo "$found"
  exit 1
fi
echo "the player links no editing code"
