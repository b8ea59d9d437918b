#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Installs a build into a scratch prefix, moves the prefix, and builds and runs the examples against it, as a stranger
# would: nothing of the build folder may be needed.
#
#   tests/install_test.sh BUILD SOURCE
set -euo pipefail
build=$1
source=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export XDG_DATA_HOME="$scratch/data"
cmake --install "$build" --prefix "$scratch/first" >"$scratch/log"
mv "$scratch/first" "$scratch/moved"
cmake -S "$source/examples" -B "$scratch/build" -G Ninja -DCMAKE_PREFIX_PATH="$scratch/moved" \
    -DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_FLAGS="${EXAMPLE_FLAGS:-}" >>"$scratch/log"
cmake --build "$scratch/build" >>"$scratch/log" || { cat "$scratch/log"; exit 1; }
ctest --test-dir "$scratch/build" --output-on-failure
# Every installed header finds those that it includes; private ones are not there, and nothing of the tests.
headers=$scratch/moved/include/redraft
find "$headers" -name '*.h' -printf '#include "%P"\n' | sort |
    c++ -std=c++20 -fsyntax-only -Wno-pragma-once-outside-header -I "$headers" -x c++ -
test ! -e "$headers/frame/class_list.h"
if find "$scratch/moved" -name 'libredraft*.so' -exec nm -DC --defined-only {} + | grep Example; then exit 1; fi
# The pennant is on the other side of its page.
grep -q 'id="pole" transform="matrix(-1 0 0 1 120 0)"' "$scratch/build/mirrored.svg"
# A program outside the tree, as README.md has it.
mine=$scratch/mine
mkdir "$mine"
block() { sed -n "/^\`\`\`$1\$/,/^\`\`\`\$/{//!p}" "$source/README.md"; }
block cmake >"$mine/CMakeLists.txt"
block cpp >"$mine/main.cpp"
cp "$source/examples/pennant.svg" "$mine/drawing.svg"
cmake -S "$mine" -B "$mine/build" -G Ninja -DCMAKE_PREFIX_PATH="$scratch/moved" -DCMAKE_CXX_COMPILER_LAUNCHER=ccache \
    -DCMAKE_CXX_FLAGS="${EXAMPLE_FLAGS:-}" >>"$scratch/log"
cmake --build "$mine/build" >>"$scratch/log" || { cat "$scratch/log"; exit 1; }
(cd "$mine" && build/mine && test -s drawing.png && "$scratch/moved/bin/redraft" undo drawing.redraft)
for file in man/man1/redraft.1 bash-completion/completions/redraft zsh/site-functions/_redraft \
    fish/vendor_completions.d/redraft.fish; do
    grep -q flip "$scratch/moved/share/$file"
done
"$scratch/moved/bin/redraft" new "$scratch/new.redraft"
LC_ALL=C.UTF-8 LANGUAGE=de "$scratch/moved/bin/redraft" commands flip-canvas | grep -q "Leinwand spiegeln"
