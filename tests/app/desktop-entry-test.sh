#!/usr/bin/env bash
# The desktop entry registers the application as the handler of page links.
# Usage: desktop-entry-test.sh <install-desktop-entry script> <jotwell3>
set -euo pipefail
script=$1
binary=$2

home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
export HOME="$home" XDG_DATA_HOME="$home/data" XDG_CONFIG_HOME="$home/config"

fail() { echo "desktop entry test failed: $*" >&2; exit 1; }

"$script" "$binary" >/dev/null || fail "the script exited with $?"
entry="$home/data/applications/jotwell3.desktop"
[ -f "$entry" ] || fail "no entry was written"
grep -qx "Exec=$(realpath "$binary") %U" "$entry" || fail "the entry does not start this binary: $(grep Exec "$entry")"
grep -q "^MimeType=.*x-scheme-handler/jotwell3;" "$entry" || fail "the entry does not handle page links"
if command -v desktop-file-validate >/dev/null; then
    desktop-file-validate "$entry" || fail "the entry is not valid"
fi
if command -v xdg-mime >/dev/null; then
    handler=$(xdg-mime query default x-scheme-handler/jotwell3 2>/dev/null || true)
    [ "$handler" = "jotwell3.desktop" ] || fail "page links go to '$handler'"
fi
# Running it again replaces the entry instead of failing.
"$script" "$binary" >/dev/null || fail "a second run failed"
echo "desktop entry test passed"
