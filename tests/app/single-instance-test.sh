#!/usr/bin/env bash
# Two starts of the real binary on one data folder: the second hands its
# clippings to the first over the session bus, or, without a bus, is stopped
# by the data folder's lock. Usage: single-instance-test.sh <jotwell3>
set -euo pipefail
binary=$1

fail() { echo "single-instance test failed: $*" >&2; exit 1; }

if [ "${2:-}" != "--on-private-bus" ]; then
    command -v dbus-run-session >/dev/null || { echo "dbus-run-session is missing"; exit 77; }
    home=$(mktemp -d)
    trap 'rm -rf "$home"' EXIT
    export HOME="$home" XDG_CONFIG_HOME="$home/config" XDG_DATA_HOME="$home/data" XDG_DOCUMENTS_DIR="$home/Documents"
    export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}
    folder="$home/data/Jotwell3"

    # Without a session bus the lock file is what keeps the folder safe.
    env -u DBUS_SESSION_BUS_ADDRESS "$binary" & first=$!
    for _ in $(seq 100); do [ -f "$folder/.jotwell3.lock" ] && break; sleep 0.1; done
    [ -f "$folder/.jotwell3.lock" ] || fail "the first start did not lock its data folder"
    status=0
    out=$(env -u DBUS_SESSION_BUS_ADDRESS "$binary" --clip-text "refused" 2>&1) || status=$?
    [ "$status" -eq 1 ] || fail "a second start on a locked folder exited with $status"
    grep -q "is in use by another running copy" <<<"$out" || fail "no clear message for a locked folder: $out"
    kill -TERM "$first"; wait "$first" || fail "the first start did not quit cleanly"
    [ ! -e "$folder/.jotwell3.lock" ] || fail "the lock outlived the application"
    grep -aq "refused" "$folder/JW3Data.jw3datastore" && fail "the refused start wrote the data folder"

    exec dbus-run-session -- "$0" "$binary" --on-private-bus
fi

folder="$XDG_DATA_HOME/Jotwell3"
"$binary" & first=$!
for _ in $(seq 100); do [ -f "$folder/.jotwell3.lock" ] && break; sleep 0.1; done

"$binary" --clip-text "Milk and honey" || fail "the hand-over of a text failed"
printf 'Notes from a file\nsecond line\n' > "$HOME/clip.txt"
"$binary" --clip-file "$HOME/clip.txt" || fail "the hand-over of a file failed"
status=0
out=$("$binary" --clip-file "$HOME/missing.txt" 2>&1) || status=$?
[ "$status" -eq 1 ] || fail "a file that does not exist was reported with status $status"
grep -q "missing.txt cannot be clipped" <<<"$out" || fail "no clear message for a missing file: $out"

# A page link clicked in another program reaches the running application.
"$binary" "jotwell3://pageid/1/" || fail "the hand-over of a page link failed"

# Another data folder is another application: it starts on its own.
other="$HOME/other"
out=$(XDG_CONFIG_HOME="$other/config" XDG_DATA_HOME="$other/data" "$binary" --self-test 2>&1) \
    || fail "a start on another data folder did not run: $out"
[ -d "$other/data/Jotwell3" ] || fail "the other start did not use its own folder"

kill -TERM "$first"; wait "$first" || fail "the first start did not quit cleanly"
for text in "Milk and honey" "Notes from a file"; do
    grep -aq "$text" "$folder/JW3Data.jw3datastore" || fail "\"$text\" was not saved by the running application"
done
echo "single-instance test passed"
