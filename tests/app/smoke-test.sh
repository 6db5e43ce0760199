#!/usr/bin/env bash
# Starts the real binary as a new user would and checks what it leaves behind.
# Usage: smoke-test.sh <jotwell3> <expected version>
set -euo pipefail
binary=$1
version=$2

home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
export HOME="$home" XDG_CONFIG_HOME="$home/config" XDG_DATA_HOME="$home/data" XDG_DOCUMENTS_DIR="$home/Documents"
export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}

fail() { echo "smoke test failed: $*" >&2; exit 1; }

out=$(env -u DISPLAY -u WAYLAND_DISPLAY "$binary" --version) || fail "--version exited with $?"
[ "$out" = "jotwell3 $version" ] || fail "--version printed '$out'"
help=$("$binary" --help) || fail "--help exited with $?"
grep -q -- "--version" <<<"$help" || fail "--help does not list its options"

out=$(timeout -k 5 30 "$binary" --self-test 2>&1) || fail "--self-test exited with $?: $out"
grep -q 'self-test passed: window "Jotwell3" shown' <<<"$out" || fail "unexpected output: $out"

# The toolkit's own options reach it, in both spellings, beside ours.
style_is() { # <expected style line> <options...>
    local expected=$1 out
    shift
    out=$(timeout -k 5 30 "$binary" "$@" --self-test 2>&1) || fail "$* exited with $?: $out"
    grep -qx "style: $expected" <<<"$out" || fail "$* did not reach the toolkit: $out"
}
style_is "windows, right to left" -style Windows -reverse
style_is "windows, left to right" --style=Windows
status=0
out=$(timeout -k 5 30 "$binary" -style Fusion --no-such-option 2>&1) || status=$?
[ "$status" -eq 1 ] || fail "an unknown option exited with $status"
grep -q "no-such-option" <<<"$out" || fail "an unknown option was not named: $out"

[ -d "$home/data/Jotwell3" ] || fail "the data folder was not created"
grep -q "<string>$home/data/Jotwell3</string>" "$home/config/jotwell3/defaults.plist" \
    || fail "the data folder was not remembered in the defaults"
out=$("$binary" --measure-startup 2>/dev/null) || fail "--measure-startup exited with $?"
grep -Eq '^startup: [0-9]+ ms$' <<<"$out" || fail "--measure-startup printed '$out'"

# A logout (SIGTERM) quits in order, with the preferences written.
rm -rf "$home/config" "$home/data"   # the data folder appears once the window is up
"$binary" & pid=$!
for _ in $(seq 100); do [ -d "$home/data/Jotwell3" ] && break; sleep 0.1; done
kill -TERM "$pid"
status=0; wait "$pid" || status=$?
[ "$status" -eq 0 ] || fail "SIGTERM ended the application with status $status instead of quitting"
[ -f "$home/config/jotwell3/defaults.plist" ] || fail "the preferences were not written on SIGTERM"

echo "smoke test passed"
