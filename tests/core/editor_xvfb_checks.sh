#!/usr/bin/env bash
# Starts the real editor (under the X display that xvfb-run provides) with a fresh data root and
# drives it with test scripts (LUMENDA3D_TEST_SCRIPT of the test build lumenda3d-testdriver, see
# docs/running.md). One case per run:
#
#   editor_xvfb_checks.sh <case> <lumenda3d> <source dir> <artifacts dir>
#
#   open-play-edit   an example game from the command line: agent and person clicks on Play,
#                    play and stop (the scene comes back), Source tab, undo/redo keys (also while
#                    the game runs), copy and paste; screenshots
#   start-project    no arguments, or a URL of another scheme: the starting project "src.xml" opens
#   frame-faults     every one of the first frames throws: one stderr line each, the loop goes on
#   hand-over        a second start hands its request to the first editor and exits 0; a game
#                    file it cannot hand over is named on its stderr
#   crash-recovery   kill -9 while editing; the next start offers the backup and restores it
#   clean-exit       normal quits: nothing unsaved leaves no offer; unsaved work is offered as such
#   terminate        an exception that escapes while the editor runs: one line, then abort
#   exit-fault       the same fault once the editor has closed down: a clean exit (code 0)
#   close-fault      the same fault while the window closes, after onClose: a clean exit too
#   screenshot       the product editor (not the test build): --screenshot FILE writes a PNG of the
#                    starting project and exits 0; an unwritable path exits 1 with a message
#   blocks           an example game: palette templates dragged into the tree and onto the scene,
#                    a block deleted with the Delete key and duplicated with Ctrl+D, each undone
#                    with Ctrl+Z, the document and the live scene checked after every step;
#                    screenshots of the tree
#   gizmo            an example game: click an object, drag the gizmo's X arrow (synthetic input),
#                    the document's x changes and undo puts it back; a vertex drag writes a
#                    VertexList (undone too); the 2D gizmo moves a text; screenshots
#   smart-copy       a stair step pulled out three times with the gizmo's Smart Copy (chosen in the
#                    menu), the second step turned by hand with the rotate gizmo in between: the
#                    third and fourth repeat the turn, edge to edge; one pull undone; screenshots
#   projects-local   a person's menu clicks and typing only: New Project from the empty template,
#                    a block added, Ctrl+S names it and saves it locally; the next start opens it
#                    with Ctrl+O and the Open dialog; Exit with unsaved changes asks first;
#                    screenshots of the menu and each dialog (also About and Clear Cache)
#   projects-pictures  the template and Open dialogs' pictures from the real cloud server and disk
#   assistant        a request typed into the assistant's panel, answered by a scripted provider:
#                    the change applied and marked, undone as one step; a conflicting edit during
#                    a slow reply settled in the conflict dialog; screenshots
#   assets           a picture, a model and a sound dropped onto the window and imported into the
#                    local assets (a file that is not what its name says is refused), dragged
#                    from the asset library onto a box (its pixels turn red) and into the scene;
#                    screenshots of the grid
#   export           Project menu -> Linux Export: the dialog exports the platformer (folder and
#                    archive in the exports folder); Windows ends with its missing-template message
set -uo pipefail

case_name="$1"
editor="$2"
source_dir="$3"
artifacts="$4"
mkdir -p "$artifacts"

work="$(mktemp -d "${TMPDIR:-/tmp}/lmd-editor-xvfb.XXXXXX")"
trap 'rm -rf "$work"' EXIT
export LUMENDA3D_HOME="$work/home"
mkdir -p "$LUMENDA3D_HOME"
export LUMENDA3D_SERVER=""
# Under the sanitizers: OGRE's image codec frees what stb allocated with malloc through delete[],
# which is not ours to fix and harmless at run time.
export ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}alloc_dealloc_mismatch=0"
# OGRE makes only the last folder of its log's path (<cache>/Lumenda3D): the cache folder must exist.
export XDG_CACHE_HOME="$work/cache"
mkdir -p "$XDG_CACHE_HOME"

failures=0
fail() {
  echo "FAILED: $*" >&2
  failures=$((failures + 1))
}

# Runs the editor with a script until it quits; checks that the script passed.
#   run_script <name> <script text> [editor arguments...]
run_script() {
  local name="$1" script="$2"
  shift 2
  printf '%s\n' "$script" > "$work/$name.script"
  LUMENDA3D_TEST_SCRIPT="$work/$name.script" timeout 270 "$editor" "$@" \
    > "$work/$name.out" 2> "$work/$name.err"
  local code=$?
  check_run "$name" "$code"
}

check_run() {
  local name="$1" code="$2"
  if [ "$code" -ne 0 ]; then fail "$name: exit code $code"; fi
  if grep -q "^LMD-TEST FAIL" "$work/$name.out"; then fail "$name: $(grep '^LMD-TEST FAIL' "$work/$name.out")"; fi
  if ! grep -q "^LMD-TEST done" "$work/$name.out"; then fail "$name: the script did not finish"; fi
  if [ "$failures" -ne 0 ]; then
    echo "--- $name stdout"; cat "$work/$name.out"
    echo "--- $name stderr"; grep -v '^ALSA' "$work/$name.err" | tail -40
  fi
}

wait_for_line() {
  local file="$1" text="$2" seconds="$3"
  for _ in $(seq 1 $((seconds * 10))); do
    grep -q "$text" "$file" 2>/dev/null && return 0
    sleep 0.1
  done
  return 1
}

case "$case_name" in
open-play-edit)
  run_script open-play-edit "
until loaded
frames 5
expect title platformer
expect tab Scene
expect not dirty
mark-objects
screenshot $artifacts/editor-scene.png
# An agent's click on Play is refused; a person's starts the game.
click topBar Play##topBar
expect toast Agent action blocked: run the game
expect log Blocked agent-driven UI action: run the game (agents must use dedicated MCP tools; UI menus are user-only)
expect not playing
user-click topBar Play##topBar
until playing
expect not edit-mode
frames 60
screenshot $artifacts/editor-playing.png
# Undo is refused while the game runs, and the key does not undo afterwards either.
user-keys ctrl z
expect playing
user-click topBar Stop##topBar
until not playing
frames 3
expect edit-mode
expect objects-as-marked
expect attr Player x
# The source tab and back.
user-click tabs Source##tabs
expect tab Source
expect not edit-mode
frames 3
screenshot $artifacts/editor-source.png
user-click tabs Scene##tabs
until loaded
expect tab Scene
expect edit-mode
# Undo and redo from the keyboard. An agent's undo key is refused and changes nothing: the
# document and the scene still agree on the edit.
set Player x 3
expect dirty
expect object Player x 3
keys ctrl z
expect toast Agent action blocked: load project
expect attr Player x 3
expect object Player x 3
expect dirty
user-keys ctrl z
until loaded
expect attr Player x
expect object Player x 0
expect not dirty
user-keys ctrl shift z
until loaded
expect attr Player x 3
user-keys ctrl z
user-keys ctrl y
until loaded
expect attr Player x 3
# Copy and paste of the selected object with a person's keys.
select Coin1
user-keys ctrl c
expect gizmo none
user-keys ctrl v
user-keys ctrl v
expect elements Coin1 3
user-keys ctrl z
until loaded
expect elements Coin1 2
frames 5
screenshot $artifacts/editor-pasted.png
quit" "$source_dir/media/examples/platformer.xml"
  ;;

start-project)
  run_script start-project "
until loaded
frames 3
expect title
expect elements Player 1
expect not dialog recover
screenshot $artifacts/editor-start-project.png
quit"
  # A URL of another scheme is ignored: the starting project opens, with no dialog.
  run_script other-url "
until loaded
frames 10
expect not dialog error
expect elements Player 1
quit" "http://example.com/?resId=7"
  grep -q "^Ignoring http://example.com/?resId=7: " "$work/other-url.err" || fail "start-project: no note on the ignored URL"
  ;;

frame-faults)
  printf 'until loaded\nframes 30\nsay alive\nquit\n' > "$work/faults.script"
  LUMENDA3D_TEST_FRAME_FAULTS=12 LUMENDA3D_TEST_SCRIPT="$work/faults.script" timeout 120 "$editor" \
    > "$work/frame-faults.out" 2> "$work/frame-faults.err"
  check_run frame-faults $?
  count="$(grep -c '^Error while rendering: injected test fault$' "$work/frame-faults.err")"
  [ "$count" -eq 12 ] || fail "frame-faults: $count stderr lines for 12 failed frames"
  grep -q "^LMD-TEST say alive" "$work/frame-faults.out" || fail "frame-faults: the loop did not go on"
  ;;

hand-over)
  # The agent server of the first editor starts on the port the second start names.
  mcp_port=$(( 50000 + RANDOM % 10000 ))
  printf '%s\n' "until loaded" "say ready" \
    "until error Could not open project 7" \
    "expect error Could not open project 7: No Lumenda3D server is configured, so cloud projects are out of reach (set LUMENDA3D_SERVER)." \
    "until log MCP server listening on http://127.0.0.1:$mcp_port/mcp" \
    "frames 3" "screenshot $artifacts/editor-hand-over.png" "quit" > "$work/first.script"
  LUMENDA3D_TEST_SCRIPT="$work/first.script" timeout 180 "$editor" > "$work/first.out" 2> "$work/first.err" &
  first=$!
  wait_for_line "$work/first.out" "^LMD-TEST say ready" 60 || fail "hand-over: the first editor did not start"
  # A start with nothing hands over three empty values; the first editor does nothing with them.
  timeout 30 "$editor" > "$work/second-empty.out" 2>&1
  code=$?
  [ "$code" -eq 0 ] || fail "hand-over: an empty second start exited with $code"
  # A game file cannot be handed over: the second start says so instead of dropping it silently.
  timeout 30 "$editor" "$source_dir/media/examples/shooter.xml" > "$work/second-file.out" 2>&1
  code=$?
  [ "$code" -eq 0 ] || fail "hand-over: a second start with a game file exited with $code"
  grep -q "^Lumenda3D is already running, so $source_dir/media/examples/shooter.xml was not opened. " \
    "$work/second-file.out" || fail "hand-over: the second start did not say that the game file was not opened"
  start_ns=$(date +%s%N)
  timeout 30 "$editor" "Lumenda3DApp://open?resId=7" --mcp on --mcp-port "$mcp_port" > "$work/second.out" 2>&1
  code=$?
  end_ns=$(date +%s%N)
  [ "$code" -eq 0 ] || fail "hand-over: the second start exited with $code"
  echo "second start took $(( (end_ns - start_ns) / 1000000 )) ms"
  grep -q "Render window" "$work/second.out" && fail "hand-over: the second start opened a window"
  wait "$first"
  check_run first $?
  ;;

crash-recovery)
  printf '%s\n' "until loaded" "set Player x 7" "until backup" "say edited" "seconds 600" > "$work/crash.script"
  LUMENDA3D_TEST_SCRIPT="$work/crash.script" "$editor" "$source_dir/media/examples/starter.xml" \
    > "$work/crash.out" 2> "$work/crash.err" &
  victim=$!
  wait_for_line "$work/crash.out" "^LMD-TEST say edited" 60 || fail "crash-recovery: no backup was written"
  kill -9 "$victim"
  wait "$victim" 2>/dev/null
  [ -S "$LUMENDA3D_HOME/state/instance.sock" ] && echo "the killed editor left its socket behind"
  run_script recover "
until dialog recover
expect recover-message did not close normally
frames 3
screenshot $artifacts/editor-recovery-offer.png
user-click recoverFromCrashDialog Recover##recoverFromCrash
until not dialog recover
until loaded
expect attr Player x 7
expect dirty
frames 3
screenshot $artifacts/editor-recovered.png
quit" "$source_dir/media/examples/starter.xml"
  ;;

clean-exit)
  # A normal quit never leads to a crash offer. Nothing unsaved (the Source tab and back, an edit
  # and its undo): no offer at all. Unsaved work: it is offered, in words that say so.
  game="$source_dir/media/examples/starter.xml"
  run_script tab-round-trip "
until loaded
frames 5
user-click tabs Source##tabs
expect tab Source
frames 3
user-click tabs Scene##tabs
until loaded
expect tab Scene
seconds 4
expect not backup
set Player x 7
until backup
user-keys ctrl z
until loaded
expect not dirty
quit" "$game"
  [ -e "$LUMENDA3D_HOME/state/autosave/pending.lmdbackup" ] && fail "clean-exit: a backup outlived a clean quit"
  run_script no-offer "
until loaded
frames 10
expect not dialog recover
set Player x 9
quit" "$game"
  run_script unsaved-offer "
until dialog recover
expect recover-message had changes that were not saved
expect not recover-message did not close normally
frames 3
screenshot $artifacts/editor-unsaved-offer.png
user-click recoverFromCrashDialog Recover##recoverFromCrash
until not dialog recover
until loaded
expect attr Player x 9
quit" "$game"
  ;;

terminate)
  printf '%s\n' "until loaded" "terminate" > "$work/terminate.script"
  LUMENDA3D_TEST_SCRIPT="$work/terminate.script" timeout 120 "$editor" > "$work/terminate.out" 2> "$work/terminate.err"
  code=$?
  [ "$code" -eq 134 ] || fail "terminate: exit code $code, not 134 (abort)"
  grep -q "^Unhandled exception: injected terminate$" "$work/terminate.err" || fail "terminate: no stderr line"
  grep -q "FATAL unhandled exception: injected terminate" "$XDG_CACHE_HOME/Lumenda3D/ogre.log" ||
    fail "terminate: not in the engine's log"
  ;;

screenshot)
  shot="$artifacts/editor-screenshot-option.png"
  rm -f "$shot"
  timeout 120 "$editor" --screenshot "$shot" > "$work/shot.out" 2> "$work/shot.err"
  code=$?
  [ "$code" -eq 0 ] || fail "screenshot: exit code $code"
  [ "$(head -c 4 "$shot" 2>/dev/null | od -An -tx1 | tr -d ' \n')" = "89504e47" ] || fail "screenshot: $shot is no PNG"
  [ "$(stat -c %s "$shot" 2>/dev/null || echo 0)" -gt 10000 ] || fail "screenshot: $shot is too small to show the editor"
  grep -q "^Screenshot written to $shot (1280x800)" "$work/shot.out" || fail "screenshot: no line on stdout"
  timeout 120 "$editor" --screenshot /proc/no-such-folder/shot.png > "$work/noshot.out" 2> "$work/noshot.err"
  code=$?
  [ "$code" -eq 1 ] || fail "screenshot: an unwritable path exited with $code, not 1"
  grep -q "^Could not write the screenshot /proc/no-such-folder/shot.png: " "$work/noshot.err" ||
    fail "screenshot: no message for an unwritable path"
  if [ "$failures" -ne 0 ]; then cat "$work/shot.out"; grep -v '^ALSA' "$work/shot.err" | tail -20; fi
  ;;

close-fault)
  # A fault while OGRE's root is released, as the window closes after onClose: a clean exit.
  LUMENDA3D_TEST_CLOSE_FAULT=1 run_script close-fault "
until loaded
quit"
  grep -q "^Unhandled exception: injected fault while the window closes$" "$work/close-fault.err" ||
    fail "close-fault: no stderr line"
  ;;

exit-fault)
  LUMENDA3D_TEST_EXIT_FAULT=1 run_script exit-fault "
until loaded
quit"
  grep -q "^Unhandled exception: injected fault at exit$" "$work/exit-fault.err" || fail "exit-fault: no stderr line"
  ;;

gizmo)
  run_script gizmo "
until loaded
frames 5
click-object Player
expect gizmo Player
frames 3
drag-gizmo x 120 0
frames 3
expect not attr Player x
expect dirty
screenshot $artifacts/editor-gizmo-move.png
user-keys ctrl z
until loaded
expect attr Player x
expect not dirty
expect gizmo none
# The vertex gizmo: a corner of the box moves and the model is built again with it.
click-object Player
gizmo-type 5
frames 3
drag-vertex 0 0 -40
frames 5
expect not vertices Player 0
expect gizmo Player
screenshot $artifacts/editor-gizmo-vertex.png
user-keys ctrl z
until loaded
expect vertices Player 0
# The 2D gizmo: the hint text moves by what the pointer moved.
gizmo-type 0
click-element Hint
expect gizmo2d Hint
expect gizmo none
drag-gizmo2d move -40 -60
frames 3
expect attr Hint x -40
expect attr Hint y -84
screenshot $artifacts/editor-gizmo-2d.png
user-keys escape
expect gizmo2d none
quit" "$source_dir/media/examples/platformer.xml"
  ;;

smart-copy)
  cat > "$work/stairs.xml" <<'XML'
<KiteBench3D>
  <Level name="Main" backgroundColor="0x87CEEB">
    <Camera name="MainCamera" x="-1" y="10" z="12" rotationX="-40" />
    <DirectionalLight name="Sun" directionX="-0.5" directionY="-1" directionZ="-0.3" />
    <Box name="step" x="2" y="0" z="0" width="2" height="0.2" depth="1" color="0xE53935" />
  </Level>
</KiteBench3D>
XML
  run_script smart-copy "
until loaded
frames 5
user-click menu View
frames 2
user-click menu View/Gizmo
frames 3
screenshot $artifacts/editor-menu-gizmo.png
user-click menu View/Gizmo/Smart Copy
frames 3
click-object step
expect gizmo step
frames 3
# The first pull: the second step starts where the first ends (its origin on the shared face).
drag-gizmo x -80 0
frames 5
expect elements step 2
expect origin-distance step 0 1 1
expect not series step rotationY
expect gizmo step
# The second step turned by hand with the rotate gizmo.
user-click menu View
frames 2
user-click menu View/Gizmo
frames 3
user-click menu View/Gizmo/Rotate
frames 3
drag-gizmo y 0 25
frames 5
user-click menu View
frames 2
user-click menu View/Gizmo
frames 3
user-click menu View/Gizmo/Smart Copy
frames 3
# Two more pulls: each repeats the turn, and each step starts at the end of the one before.
drag-gizmo x -80 0
frames 5
expect elements step 3
drag-gizmo x -80 0
frames 5
expect elements step 4
expect series step rotationY
expect origin-distance step 1 2 2
expect origin-distance step 2 3 2
expect dirty
frames 3
screenshot $artifacts/editor-smart-copy.png
# Each pull is one undo step.
user-keys ctrl z
until loaded
expect elements step 3
quit" "$work/stairs.xml"
  ;;

blocks)
  run_script blocks "
until loaded
frames 10
screenshot $artifacts/editor-blocks-start.png
# A template dropped on a block of the tree becomes its first child, and an object of the scene.
select Ground
frames 10
show-template Sphere
frames 5
drag-template Sphere block Ground
expect elements sphere1 1
until objects sphere1 1
frames 5
screenshot $artifacts/editor-blocks-dropped.png
user-keys ctrl z
until loaded
frames 3
expect elements sphere1 0
expect objects sphere1 0
# A template dropped on the scene lands in the first level.
show-template Cone
frames 5
drag-template Cone scene
expect elements cone1 1
until objects cone1 1
user-keys ctrl z
until loaded
frames 3
expect elements cone1 0
expect objects cone1 0
# Delete and duplicate from the keyboard, on the selected block.
select Coin3
frames 10
click-block Coin3
expect selected-block Coin3
user-keys delete
frames 3
until loaded
frames 3
expect elements Coin3 0
expect objects Coin3 0
user-keys ctrl z
until loaded
frames 3
expect elements Coin3 1
expect objects Coin3 1
select Coin2
frames 10
click-block Coin2
user-keys ctrl d
frames 3
expect elements Coin2 2
until objects Coin2 2
frames 5
screenshot $artifacts/editor-blocks-duplicated.png
user-keys ctrl z
until loaded
frames 3
expect elements Coin2 1
expect objects Coin2 1
# Ctrl+C and Ctrl+V on the tree copy the block and paste it behind the selected one, once.
click-block Coin2
user-keys ctrl c
select Coin4
frames 10
click-block Coin4
user-keys ctrl v
frames 3
expect elements Coin2 2
until objects Coin2 2
user-keys ctrl z
until loaded
frames 3
expect elements Coin2 1
quit" "$source_dir/media/examples/platformer.xml"
  ;;

attributes)
  # The attribute panel of the real editor, used as a person does (clicks and typed keys through the
  # window's event queue): a click on a block shows its values; "+" of X moves the object by X's
  # step; typing a number into X moves it there; typing a colour into the colour's text field
  # changes the object's pixels; undo (also with the focus still in the colour's field) brings
  # each back; the sound picker lists the game's sounds and writes the one clicked; the picture
  # picker shows the shipped pictures with thumbnails and writes the one clicked.
  run_script attributes "
until loaded
frames 10
select Ground
frames 10
click-block Ground
frames 10
screenshot $artifacts/editor-attributes-panel.png
user-click attributesEditor +##x
frames 5
expect attr Ground x 8.500000
until object Ground x 8.5
screenshot $artifacts/editor-attributes-moved.png
user-keys ctrl z
until loaded
frames 3
expect attr Ground x 8
until object Ground x 8
user-click attributesEditor ##x
user-keys ctrl a
user-type 12.5
frames 3
expect attr Ground x 12.5
until object Ground x 12.5
user-keys enter
frames 3
screenshot $artifacts/editor-attributes-typed.png
user-keys ctrl z
until loaded
frames 3
expect attr Ground x 8
until object Ground x 8
select Player
frames 10
click-block Player
frames 10
until object-pixel Player r
user-click attributesEditor ##color
user-keys ctrl a
user-type 0x2040FF
frames 3
expect attr Player color 0x2040FF
until object-pixel Player b
screenshot $artifacts/editor-attributes-colour.png
user-keys ctrl z
until loaded
frames 3
expect attr Player color 0xFF8800
until object-pixel Player r
screenshot $artifacts/editor-attributes-colour-undone.png
select PlaySound
frames 10
click-block PlaySound
frames 10
user-click attributesEditor ...##sound
frames 5
screenshot $artifacts/editor-attributes-sound-picker.png
user-click attributesEditor coin##item
frames 5
expect attr PlaySound sound coin
user-keys ctrl z
until loaded
frames 3
expect attr PlaySound sound jump
select grass
frames 10
click-block grass
frames 10
user-click attributesEditor ...##picture
frames 10
screenshot $artifacts/editor-attributes-picture-picker.png
user-click attributesEditor bricks.png##asset_bricks.png
frames 5
expect attr grass picture bricks.png
screenshot $artifacts/editor-attributes-picture-chosen.png
user-keys ctrl z
until loaded
frames 3
expect attr grass picture grass.png
quit"
  ;;

projects-local)
  run_script projects-new "
until loaded
frames 5
user-click menu File
frames 3
screenshot $artifacts/editor-menu-file.png
user-click menu File/New Project
until dialog template
frames 3
screenshot $artifacts/editor-dialog-template.png
user-click projectTemplateDialog ##templateCardempty
until not dialog template
expect not dirty
drag-template Cone scene
expect elements cone1 1
expect dirty
user-keys ctrl s
until dialog save
frames 3
user-type Stairs
frames 3
user-click saveProjectDialog This computer##saveProjectTarget
frames 2
screenshot $artifacts/editor-dialog-save.png
user-keys return
until not dialog save
expect title Stairs [Local]
expect not dirty
quit"
  [ -f "$LUMENDA3D_HOME/data/projects/Stairs/src.xml" ] || fail "projects-local: no project file was written"
  # The script ends with the person's answer to the exit question: the editor quits then, so
  # there is no "quit" line and the run is checked here.
  printf '%s\n' "
until loaded
frames 5
user-keys ctrl o
until dialog open
frames 3
screenshot $artifacts/editor-dialog-open.png
user-click openResourceDialog Stairs##openLocal
user-click openResourceDialog Open##openResource
until not dialog open
expect title Stairs [Local]
expect elements cone1 1
expect not dirty
set cone1 x 5
expect dirty
user-click menu Help
frames 2
user-click menu Help/About
frames 5
screenshot $artifacts/editor-dialog-about.png
user-keys escape
frames 3
user-click menu Settings
frames 2
user-click menu Settings/Clear Cache...
frames 5
screenshot $artifacts/editor-dialog-clear-cache.png
user-keys escape
frames 3
user-click menu File
frames 2
user-click menu File/Exit
until dialog confirm
frames 3
screenshot $artifacts/editor-dialog-exit.png
say asked
user-click confirmDialog Exit##confirmDialogConfirm
frames 600
say still running" > "$work/projects-open.script"
  LUMENDA3D_TEST_SCRIPT="$work/projects-open.script" timeout 180 "$editor" > "$work/projects-open.out" 2> "$work/projects-open.err"
  code=$?
  [ "$code" -eq 0 ] || fail "projects-open: exit code $code"
  grep -q "^LMD-TEST FAIL" "$work/projects-open.out" && fail "projects-open: $(grep '^LMD-TEST FAIL' "$work/projects-open.out")"
  grep -q "^LMD-TEST say asked" "$work/projects-open.out" || fail "projects-open: Exit did not ask about the unsaved change"
  grep -q "^LMD-TEST say still running" "$work/projects-open.out" && fail "projects-open: the editor did not quit after the answer"
  if [ "$failures" -ne 0 ]; then cat "$work/projects-open.out"; tail -40 "$work/projects-open.err"; fi
  ;;

projects-pictures)
  # Pictures in the project lists, against the real cloud server on loopback: the template dialog
  # shows the server's template picture, the Open dialog a local project's thumbnail.jpg and,
  # after a login, a cloud project's thumbnail; entries without one keep a plain frame.
  cloud_exe="$(dirname "$editor")/cloud/lumenda3d-cloud"
  python3 - "$work" "$LUMENDA3D_HOME/data/projects" <<'PY'
import os, struct, sys, zlib
work, projects = sys.argv[1], sys.argv[2]
def png(path, rgb, w=64, h=48):
    def chunk(kind, data):
        return struct.pack('>I', len(data)) + kind + data + struct.pack('>I', zlib.crc32(kind + data) & 0xffffffff)
    rows = b''.join(b'\x00' + b''.join(bytes(rgb if (x // 8 + y // 8) % 2 else (40, 40, 40)) for x in range(w))
                    for y in range(h))
    open(path, 'wb').write(b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', struct.pack('>IIBBBBB', w, h, 8, 2, 0, 0, 0)) +
                           chunk(b'IDAT', zlib.compress(rows)) + chunk(b'IEND', b''))
png(work + '/template.png', (60, 200, 90))
png(work + '/cloud.png', (220, 60, 60))
for name, colour in (('Green hills', (60, 160, 230)), ('No picture', None)):
    os.makedirs(projects + '/' + name, exist_ok=True)
    open(projects + '/' + name + '/src.xml', 'w').write('<KiteBench3D><Level name="Main"/></KiteBench3D>')
    if colour:
        png(projects + '/' + name + '/thumbnail.jpg', colour)  # a PNG under the .jpg name
PY
  port="$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')"
  "$cloud_exe" admin --db "sqlite:$work/cloud.sqlite3" add-template --id castle --name "Castle" \
    --description "Storm the castle" --xml "$source_dir/media/examples/platformer.xml" --picture "$work/template.png" \
    > "$work/cloud-admin.log" 2>&1 || fail "projects-pictures: the template could not be added: $(cat "$work/cloud-admin.log")"
  "$cloud_exe" --db "sqlite:$work/cloud.sqlite3" --listen "127.0.0.1:$port" --no-seed --argon2-ops 1 \
    --argon2-mem-kib 8192 > "$work/cloud.log" 2>&1 &
  cloud_pid=$!
  python3 - "$port" "$work/cloud.png" <<'PY' || fail "projects-pictures: the cloud project could not be made"
import base64, json, sys, time, urllib.request
port, picture = sys.argv[1], sys.argv[2]
base = 'http://127.0.0.1:%s' % port
def call(path, body, token=None):
    request = urllib.request.Request(base + path, json.dumps(body).encode(), {'Content-Type': 'application/json'})
    if token:
        request.add_header('Authorization', 'Bearer ' + token)
    return json.load(urllib.request.urlopen(request, timeout=10))
for _ in range(100):
    try:
        token = call('/api/auth/register', {'username': 'ann', 'password': 'pictures-123'})['token']
        break
    except OSError:
        time.sleep(0.1)
call('/api/resources', {'name': 'Red fort', 'xml': '<KiteBench3D><Level name="Main"/></KiteBench3D>',
                        'thumbnail': base64.b64encode(open(picture, 'rb').read()).decode()}, token)
call('/api/resources', {'name': 'Plain fort', 'xml': '<KiteBench3D><Level name="Main"/></KiteBench3D>'}, token)
PY
  LUMENDA3D_SERVER="http://127.0.0.1:$port" run_script projects-pictures "
until loaded
frames 5
user-click menu File
frames 2
user-click menu File/New Project
until dialog template
frames 60
screenshot $artifacts/editor-dialog-template-pictures.png
user-keys escape
until not dialog template
user-click topBar Log in##topBar
until dialog login
frames 3
user-click loginDialog User name##login
user-type ann
user-click loginDialog Password##login
user-type pictures-123
user-keys enter
until not dialog login
frames 5
user-keys ctrl o
until dialog open
frames 60
screenshot $artifacts/editor-dialog-open-pictures.png
user-click openResourceDialog Cloud##openResource
frames 60
screenshot $artifacts/editor-dialog-open-cloud-pictures.png
user-keys escape
until not dialog open
quit"
  kill "$cloud_pid" 2>/dev/null
  wait "$cloud_pid" 2>/dev/null
  ;;

assistant)
  # The assistant against a scripted provider (lmd-ai-standin, OpenAI Chat Completions on
  # loopback): a request typed into the panel as a person types it; the reply stands in the
  # transcript, the changed block is marked and the scene changed; undo takes the whole reply
  # back. Then a slow reply while the person edits the same attribute: the conflict dialog asks,
  # "Keep my changes" keeps the person's value. Screenshots of the panel and of the dialog.
  standin="$(dirname "$editor")/lmd-ai-standin"
  printf '%s' '{"reply":"I painted the player blue and moved it to x=3.","changes":[{"op":"update","id":"{{id:Player}}","attrs":{"color":"0x3366FF","x":"3"}}]}' > "$work/reply1.txt"
  printf '%s' '{"reply":"I moved the ground to x=10.","changes":[{"op":"update","id":"{{id:Ground}}","attrs":{"x":"10"}}]}' > "$work/reply2.txt"
  "$standin" "$work/standin.port" "$work/reply1.txt" --delay-ms 4000 "$work/reply2.txt" > "$work/standin.log" 2>&1 &
  standin_pid=$!
  for _ in $(seq 1 100); do [ -s "$work/standin.port" ] && break; sleep 0.05; done
  port="$(cat "$work/standin.port" 2>/dev/null)"
  [ -n "$port" ] || fail "the provider stand-in did not start"
  mkdir -p "$LUMENDA3D_HOME/config/lmdEditor"
  printf '{"ai.key.openai":"sk-test-standin","ai.baseUrl.openai":"http://127.0.0.1:%s/v1","aiChatPanel.open":true}' "$port" \
    > "$LUMENDA3D_HOME/config/lmdEditor/settings.txt"
  run_script assistant "
until loaded
frames 10
screenshot $artifacts/editor-assistant-start.png
user-click aiChatPanel AI Settings##aiChat
frames 10
screenshot $artifacts/editor-assistant-settings.png
user-keys escape
frames 10
user-click aiChatPanel ##aiInput
user-type Paint the player blue and move it
user-keys enter
until attr Player color 0x3366FF
until object Player x 3
frames 10
expect attr Player _aiChange updated
screenshot $artifacts/editor-assistant-reply.png
undo
until loaded
frames 5
expect attr Player color 0xFF8800
expect attr Player _aiChange
until object Player x 0
user-click aiChatPanel ##aiInput
user-type Move the ground
user-keys enter
frames 10
set Ground x 3
seconds 6
screenshot $artifacts/editor-assistant-conflict.png
user-click mergeConflictDialog Keep my changes
frames 10
expect attr Ground x 3
screenshot $artifacts/editor-assistant-after-merge.png
quit" "$source_dir/media/examples/platformer.xml"
  # Without a key the request stays in the box, the banner says where the key is set up (its
  # arrow drawn by the interface font, not a "?") and the AI settings open.
  printf '{"aiChatPanel.open":true}' > "$LUMENDA3D_HOME/config/lmdEditor/settings.txt"
  run_script assistant-no-key "
until dialog recover
frames 3
user-click recoverFromCrashDialog Discard##recoverFromCrash
until not dialog recover
until loaded
frames 5
user-click aiChatPanel ##aiInput
user-type Make a maze
user-keys enter
frames 10
screenshot $artifacts/editor-assistant-no-key.png
quit" "$source_dir/media/examples/platformer.xml"
  kill "$standin_pid" 2>/dev/null
  wait "$standin_pid" 2>/dev/null
  ;;

assets)
  # Files a person brings in: a picture, a model and a sound dropped onto the window, imported
  # after the question, shown in the asset library's grid, then dragged into the scene.
  python3 - "$work" <<'PY'
import struct, sys, zlib
work = sys.argv[1]
def chunk(kind, data):
    return struct.pack('>I', len(data)) + kind + data + struct.pack('>I', zlib.crc32(kind + data) & 0xffffffff)
rows = b''.join(b'\x00' + b'\xdc\x28\x28' * 32 for _ in range(32))
png = b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', struct.pack('>IIBBBBB', 32, 32, 8, 2, 0, 0, 0)) + \
      chunk(b'IDAT', zlib.compress(rows)) + chunk(b'IEND', b'')
open(work + '/red.png', 'wb').write(png)
open(work + '/fake.png', 'wb').write(b'this is text, not a picture')
cube = ['v %d %d %d' % (x, y, z) for x in (-1, 1) for y in (-1, 1) for z in (-1, 1)]
faces = ['f 1 3 4 2', 'f 5 6 8 7', 'f 1 2 6 5', 'f 3 7 8 4', 'f 1 5 7 3', 'f 2 4 8 6']
open(work + '/cube.obj', 'w').write('\n'.join(cube + faces) + '\n')
pyramid = ['v -1 0 -1', 'v 1 0 -1', 'v 1 0 1', 'v -1 0 1', 'v 0 2 0']
open(work + '/pyramid.obj', 'w').write('\n'.join(pyramid + ['f 1 2 3 4', 'f 1 5 2', 'f 2 5 3', 'f 3 5 4', 'f 4 5 1']) + '\n')
PY
  cp "$source_dir/media/sounds/coin.wav" "$work/boing.wav"
  run_script assets "
until loaded
frames 10
user-click workflow Asset Library
frames 5
user-click assetLibraryPanel Local
frames 3
expect not asset red.png
drop-file $work/fake.png
frames 5
user-click assetLibraryPanel Yes
until error Import failed: \"fake.png\" does not hold PNG picture data
expect not asset fake.png
user-keys escape
frames 5
drop-file $work/red.png
frames 5
user-click assetLibraryPanel Yes
until asset red.png
frames 30
screenshot $artifacts/editor-assets-textures.png
drag-asset red.png object Step1
until attr Step1 texture material1
until object-pixel Step1 r
frames 5
screenshot $artifacts/editor-assets-texture-dropped.png
user-click assetLibraryPanel Models
frames 3
drop-file $work/cube.obj
frames 5
user-click assetLibraryPanel Yes
until asset cube.obj
frames 3
drag-asset cube.obj scene
until attr Model fileName local:cube.obj
frames 10
screenshot $artifacts/editor-assets-model-dropped.png
drop-file $work/pyramid.obj
frames 5
user-click assetLibraryPanel Yes
until asset pyramid.obj
until asset-thumbnail cube.obj
until asset-thumbnail pyramid.obj
frames 5
screenshot $artifacts/editor-assets-model-thumbnails.png
library-cost
select Model
frames 10
press-asset pyramid.obj
move-pointer field fileName
frames 5
screenshot $artifacts/editor-assets-drag-onto-field.png
release-pointer
until attr Model fileName local:pyramid.obj
press-asset pyramid.obj
move-pointer field name
release-pointer
until toast \"name\" does not take a model.
expect attr Model fileName local:pyramid.obj
user-click assetLibraryPanel Textures
frames 3
press-asset red.png
move-pointer tab Workflow
until drop-place block Level
select Model
until drop-place block Model
frames 20
screenshot $artifacts/editor-assets-tab-hold.png
move-pointer block Model
frames 5
screenshot $artifacts/editor-assets-drag-onto-block.png
release-pointer
until attr Model texture material1
expect elements material2 0
user-click workflow Asset Library
frames 3
user-click assetLibraryPanel Sounds
frames 3
drop-file $work/boing.wav
frames 5
user-click assetLibraryPanel Yes
until asset boing.wav
frames 3
drag-asset boing.wav scene
until elements sound1 1
drag-asset boing.wav scene
frames 10
expect elements sound2 0
screenshot $artifacts/editor-assets-sounds.png
press-asset boing.wav
move-pointer tab Workflow
until drop-place block Level
select material1
until drop-place block material1
frames 20
move-pointer block material1
frames 5
release-pointer
until toast \"material1\" (Material) has no place for a sound.
expect elements sound2 0
quit
"
  ;;

export)
  # A person exports the open game for Linux from the Project menu: the dialog's Export button
  # runs it, the progress bar reaches "Done", the dialog names the archive, and the folder and the
  # archive are in the exports folder. Windows, chosen in the same dialog, ends with the message
  # that no Windows runtime template is available.
  run_script export "
until loaded
frames 5
user-click menu Project
frames 2
user-click menu Project/Linux Export (tar.gz)
frames 5
screenshot $artifacts/editor-export-dialog.png
user-click exportDialog Export##exportDialogStart
timeout 180
until log LocalExportService: export complete ->
frames 5
screenshot $artifacts/editor-export-done.png
user-click exportDialog Close##exportDialogClose
frames 3
user-click menu Project
frames 2
user-click menu Project/Windows Export (EXE)
frames 5
user-click exportDialog Export##exportDialogStart
until log LocalExportService: No Windows runtime template is available
frames 5
screenshot $artifacts/editor-export-windows.png
quit
" "$source_dir/media/examples/platformer.xml"
  archive=$(ls "$LUMENDA3D_HOME"/exports/*-linux.tar.gz 2>/dev/null | head -1)
  [ -n "$archive" ] || fail "export: no archive in $LUMENDA3D_HOME/exports"
  [ -f "${archive%.tar.gz}/game/bin.dat" ] || fail "export: no game package beside the archive"
  ;;

*)
  echo "unknown case $case_name" >&2
  exit 2
  ;;
esac

if [ "$failures" -ne 0 ]; then
  exit 1
fi
echo "$case_name: passed"
