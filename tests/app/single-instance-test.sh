#!/usr/bin/env bash
# Two starts of the real binary on one data folder: the second hands its
# clippings to the first over the session bus, or, without a bus, is stopped
# by the data folder's lock. A start that fails says why on stderr and exits:
# it never waits on a dialog. Usage: single-instance-test.sh <jotwell3>
set -euo pipefail
binary=$1

fail() { echo "single-instance test failed: $*" >&2; exit 1; }

# Every start is bounded: a start that hangs (on a dialog, say) fails the
# test with status 124 instead of hanging it.
run() { timeout -k 5 60 "$binary" "$@"; }
# A failing start on a platform where dialogs can open: one that showed a
# dialog would wait on it and be stopped (status 124, or 137 if it held on).
run_failing() { QT_QPA_PLATFORM=minimal timeout -k 5 20 "$binary" "$@"; }

# The first start runs under a timeout too, which passes a TERM on to it
# (once: a second TERM would end it at once, uncleanly), and KILL only when
# it has not quit a minute later.
first=
trap '[ -n "$first" ] && kill -TERM "$first" 2>/dev/null; rm -rf "${home:-}"' EXIT
wait_for_lock() {
    for _ in $(seq 100); do [ -f "$1/.jotwell3.lock" ] && return 0; sleep 0.1; done
    fail "the first start did not lock its data folder"
}
quit_first() {
    kill -TERM "$first"
    wait "$first" || fail "the first start did not quit cleanly"
    first=
}

if [ "${2:-}" != "--on-private-bus" ]; then
    command -v dbus-run-session >/dev/null || fail "dbus-run-session is missing (Debian package dbus-daemon)"
    home=$(mktemp -d)
    export HOME="$home" XDG_CONFIG_HOME="$home/config" XDG_DATA_HOME="$home/data" XDG_DOCUMENTS_DIR="$home/Documents"
    export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}
    folder="$home/data/Jotwell3"

    # Without a session bus the lock file is what keeps the folder safe.
    env -u DBUS_SESSION_BUS_ADDRESS timeout --foreground -k 60 120 "$binary" & first=$!
    wait_for_lock "$folder"
    status=0
    out=$(env -u DBUS_SESSION_BUS_ADDRESS QT_QPA_PLATFORM=minimal timeout -k 5 20 "$binary" --clip-text "refused" 2>&1) \
        || status=$?
    [ "$status" -eq 1 ] || fail "a second start on a locked folder exited with $status (waited on a dialog?)"
    grep -q "is in use by another running copy" <<<"$out" || fail "no clear message for a locked folder: $out"
    quit_first
    [ ! -e "$folder/.jotwell3.lock" ] || fail "the lock outlived the application"
    grep -aq "refused" "$folder/JW3Data.jw3datastore" && fail "the refused start wrote the data folder"

    # With no application running, an export reads the folder itself and shows nothing.
    env -u DBUS_SESSION_BUS_ADDRESS QT_QPA_PLATFORM=minimal timeout -k 5 30 "$binary" --export text-tree --all "$home/out" \
        || fail "the export without a running application failed"
    [ -n "$(find "$home/out" -name '*.txt')" ] || fail "the export without a running application wrote no text files"
    status=0
    out=$(env -u DBUS_SESSION_BUS_ADDRESS QT_QPA_PLATFORM=minimal timeout -k 5 20 "$binary" --export text --page 987654321 "$home/none.txt" 2>&1) || status=$?
    [ "$status" -eq 1 ] && grep -q "no page with the ID 987654321" <<<"$out" \
        || fail "an export of a missing page exited with $status: $out"
    [ ! -e "$folder/.jotwell3.lock" ] || fail "the export left its lock behind"

    # So does an import, which saves the folder and names what it left out.
    mkdir -p "$home/in/Trip" && printf 'Imported alone\n' > "$home/in/Trip/Trip.txt" && printf '%%PDF' > "$home/in/Trip/x.pdf"
    status=0
    out=$(env -u DBUS_SESSION_BUS_ADDRESS QT_QPA_PLATFORM=minimal timeout -k 5 30 "$binary" --import "$home/in/Trip" 2>&1) \
        || status=$?
    [ "$status" -eq 1 ] && grep -q "x.pdf: this kind of file cannot be imported" <<<"$out" \
        || fail "an import with a file left out exited with $status: $out"
    grep -aq "Trip" "$folder/JW3Data.jw3datastore" || fail "the import without a running application was not saved"
    mkdir -p "$home/legacy"
    printf '<?xml version="1.0" encoding="UTF-8"?>\n<plist version="1.0"><dict><key>MainNoteDict</key><dict>
<key>ID</key><integer>0</integer><key>Children</key><array><dict><key>ID</key><integer>57</integer>
<key>Title</key><string>Old budget</string></dict></array></dict></dict></plist>\n' > "$home/legacy/Jotwell2.plist"
    env -u DBUS_SESSION_BUS_ADDRESS QT_QPA_PLATFORM=minimal timeout -k 5 30 "$binary" --import-legacy "$home/legacy/Jotwell2.plist" \
        || fail "the import of the earlier version's data failed"
    grep -aq "Old budget" "$folder/JW3Data.jw3datastore" || fail "the earlier version's pages were not saved"

    status=0
    timeout -k 5 150 dbus-run-session -- "$0" "$binary" --on-private-bus || status=$?
    exit "$status"
fi

folder="$XDG_DATA_HOME/Jotwell3"
timeout --foreground -k 60 140 "$binary" & first=$!
wait_for_lock "$folder"

run --clip-text "Milk and honey" || fail "the hand-over of a text failed"
printf 'Notes from a file\nsecond line\n' > "$HOME/clip.txt"
run --clip-file "$HOME/clip.txt" || fail "the hand-over of a file failed"
printf '\xff\xfeW\0i\0d\0e\0 \0n\0o\0t\0e\0s\0' > "$HOME/wide.txt"
run --clip-file "$HOME/wide.txt" || fail "the hand-over of a UTF-16 file failed"

# What the running application could not do fails the start that asked for
# it, with the reason on stderr and nothing on the screen.
status=0
out=$(run_failing --clip-file "$HOME/missing.txt" 2>&1 >/dev/null) || status=$?
[ "$status" -eq 1 ] || fail "a failed hand-over exited with $status (waited on a dialog?)"
grep -q "missing.txt cannot be clipped" <<<"$out" || fail "no clear message on stderr for a missing file: $out"

# An export is carried out by the running application, which holds the
# clipping just handed to it.
run --export text-tree --all "$HOME/exported" || fail "the hand-over of an export failed"
grep -rq "Milk and honey" "$HOME/exported" || fail "the running application's export lacks the clipping"

# An import handed over lands in the running application's tree.
printf 'Handed-over import\n' > "$HOME/handed.txt"
run --import "$HOME/handed.txt" || fail "the hand-over of an import failed"

# A page link clicked in another program reaches the running application.
run "jotwell3://pageid/1/" || fail "the hand-over of a page link failed"

# Another data folder is another application: it starts on its own.
other="$HOME/other"
out=$(XDG_CONFIG_HOME="$other/config" XDG_DATA_HOME="$other/data" run --self-test 2>&1) \
    || fail "a start on another data folder did not run: $out"
[ -d "$other/data/Jotwell3" ] || fail "the other start did not use its own folder"

quit_first
for text in "Milk and honey" "Notes from a file" "Wide notes" "Handed-over import"; do
    grep -aq "$text" "$folder/JW3Data.jw3datastore" || fail "\"$text\" was not saved by the running application"
done
echo "single-instance test passed"
