#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Extracts the library's texts for translators.
#
#   tools/make_pot.sh            writes po/redraft.pot and brings po/*.po up to it
#   tools/make_pot.sh --check    warns of texts that the template or a translation lacks; fails for a translation that
#                                cannot be read or whose placeholders are not those of its text
set -euo pipefail
cd "$(dirname "$0")/.."

extract() {
    printf 'msgid ""\nmsgstr ""\n"Project-Id-Version: Redraft\\n"\n"Content-Type: text/plain; charset=UTF-8\\n"\n"Content-Transfer-Encoding: 8bit\\n"\n\n'
    # Without line numbers an edit elsewhere in a file leaves the template as it is.
    git ls-files 'src/*.h' 'src/*.cpp' 'engine/*.h' 'engine/*.cpp' 'shell/*.cpp' | LC_ALL=C sort |
        xgettext --files-from=- --language=C++ --from-code=UTF-8 --keyword --keyword=LocalisedString:1,2c --keyword=Localisable:1,2c \
            --add-location=file --sort-by-file --omit-header --output=-
}

if [ "${1:-}" = --check ]; then
    scratch=$(mktemp -d)
    trap 'rm -rf "$scratch"' EXIT
    extract >"$scratch/redraft.pot"
    diff -q po/redraft.pot "$scratch/redraft.pot" >"$scratch/diff" ||
        echo "warning: po/redraft.pot is behind the sources; run 'make pot'" >&2
    for translation in po/*.po; do
        msgfmt --check-format --output-file=/dev/null "$translation"
        msgmerge --quiet --no-fuzzy-matching --output-file="$scratch/merged.po" "$translation" "$scratch/redraft.pot"
        msgattrib --untranslated --no-obsolete "$scratch/merged.po" | sed -n 's/^msgid "\(..*\)"$/\1/p' >"$scratch/missing"
        while read -r text; do echo "warning: $translation has no translation of \"$text\"" >&2; done <"$scratch/missing"
    done
    echo "OK translations"
    exit 0
fi

extract >po/redraft.pot
for translation in po/*.po; do
    [ -e "$translation" ] || continue
    msgmerge --quiet --update --backup=none --no-fuzzy-matching "$translation" po/redraft.pot
done
