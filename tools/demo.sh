#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Shows what the program is for on a real drawing: an edit whose whole history is saved with the document, undone and
# walked through in later processes.
#
#   tools/demo.sh [REDRAFT] [FOLDER]      INPUT=my.svg takes any drawing
#
# The drawing is one of the openclipart-svg package's 8121. Of those it is among the few that have everything an editor
# finds hard: groups five deep (144 of them), 290 paths and 293 gradients, many of which share their stops; and it uses
# nothing that the program does not take over: no text, images, filters or masks.
set -euo pipefail

redraft=${1:-build/release/shell/redraft}
out=${2:-build/demo}
input=${INPUT:-/usr/share/openclipart/svg/people/rich_young_man_counting_01.svg}

if [ ! -x "$redraft" ]; then
    echo "demo: $redraft is not there; build it first, or name it" >&2
    exit 2
fi
if [ ! -r "$input" ]; then
    echo "demo: $input cannot be read; install the Debian package openclipart-svg, or set INPUT" >&2
    exit 3
fi
mkdir -p "$out"
document=$out/drawing.redraft

say() { printf '\n== %s\n' "$*"; }
call() {
    printf '$ redraft %s\n' "$*"
    "$redraft" "$@"
}

say "A drawing becomes a document"
rm -f "$document"
call import "$input" -o "$document"
call info "$document"
imported=$("$redraft" hash "$document")
echo "hash $imported"

say "Three steps, each a process of its own"
call do "$document" ungroup-nodes --select all || [ $? -eq 1 ]
call do "$document" ungroup-all-nodes --select all || [ $? -eq 1 ]
call do "$document" flip-canvas horizontal=true
call info "$document"
edited=$("$redraft" hash "$document")
echo "hash $edited"

say "Later, in another process: the history is in the file"
call check "$document"
call history "$document"

say "Back to the beginning: the imported drawing, bit for bit"
call goto "$document" 0
restored=$("$redraft" hash "$document")
echo "hash $restored"
if [ "$restored" != "$imported" ]; then
    echo "demo: the document after undo is not the one that was imported" >&2
    exit 1
fi

say "Forward again, one step at a time"
last=$("$redraft" info "$document" --json | sed 's/.*"history":{"entries":\([0-9]*\).*/\1/')
call render "$document" -o "$out/state-0.png"
for ((step = 1; step <= last; ++step)); do
    call redo "$document"
    call render "$document" -o "$out/state-$step.png"
done
redone=$("$redraft" hash "$document")
echo "hash $redone"
if [ "$redone" != "$edited" ]; then
    echo "demo: the document after redo is not the edited one" >&2
    exit 1
fi

say "The first and the last state, small, as README.md shows them"
call render "$document" --position 0 --scale 0.3 -o "$out/first.png"
call render "$document" --scale 0.3 -o "$out/last.png"

say "A table fills a letter, once for each record"
letter=$out/letter.redraft
rm -f "$letter" "$out/letters.redraft"
printf 'name,city,guests\nAda,London,36\nEmmy,Erlangen,4\nSofja,Stockholm,41\n' >"$out/guests.csv"
printf 'Dear {{name}},\n\nyou and your {{guests}} guests are welcome in {{city}}.\n' >"$out/letter.txt"
call import "$out/letter.txt" -o "$letter"
call link "$letter" "$out/guests.csv"
call do "$letter" add-data-merge-filter source=0 \
    filter='{"type":"records","rules":[{"clauses":[{"field":"guests","operator":"greater","value":"10"}]}]}'
call merge "$letter" -o "$out/letters.redraft"
call text "$out/letters.redraft"
echo

say "The drawing as a picture: its plain ground becomes clear, and the rest is traced into curves again"
picture=$out/picture.redraft
rm -f "$picture"
call import "$out/last.png" -o "$picture"
call do "$picture" remove-bg --select all || [ $? -eq 3 ]
call do "$picture" vectorise-object --select all
call export "$picture" -o "$out/traced.svg"

say "All states on one page"
call history "$document" --html "$out/film"
echo
echo "OK: undone and redone across processes without a difference; see $out/film/index.html"
