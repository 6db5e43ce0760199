#!/usr/bin/env bash
# Runs jw-archive on the test data the way a user would.
# Usage: jw-archive-cli-test.sh <jw-archive> <tests/data>
set -euo pipefail
# Outputs go to files before grep -q looks at them: grep stops at its first
# match, and the writer's broken pipe would otherwise fail the pipeline.
tool=$1
data=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "jw-archive test failed: $*" >&2; exit 1; }

# Every test file of the three formats dumps as JSON (the gtest suite parses it).
count=0
while IFS= read -r -d '' file; do
    "$tool" dump "$file" > "$work/out.json" || fail "dump failed on $file"
    [ "$(head -c 1 "$work/out.json")" = "{" ] || fail "no JSON object for $file"
    count=$((count + 1))
done < <(find "$data/plist" "$data/typedstream" "$data/keyedarchive" -type f -print0)
[ "$count" -ge 20 ] || fail "only $count test files found"

"$tool" dump "$data/typedstream/crabstep-NSString.typedstream" > "$work/out.txt"
grep -q '"Hello, world"' "$work/out.txt" \
    || fail "the NSString archive does not show its text"
"$tool" dump "$data/keyedarchive/nskeyedarchiver-go-dict.bin.plist" > "$work/out.txt"
grep -q '"NSKeyedArchiver"' "$work/out.txt" \
    || fail "a keyed archive is not shown as one"

# A file that is none of the formats: a message and exit code 1.
printf 'hello' > "$work/garbage"
status=0; "$tool" dump "$work/garbage" 2> "$work/err" || status=$?
[ "$status" -eq 1 ] || fail "garbage gave exit code $status"
grep -q "garbage" "$work/err" || fail "the error does not name the file"
status=0; "$tool" dump "$work/missing" 2> /dev/null || status=$?
[ "$status" -eq 1 ] || fail "a missing file gave exit code $status"

# convert: binary and back to XML gives the same values.
"$tool" convert --to binary "$data/plist/cpython-testdata.xml.plist" "$work/t.bplist"
[ "$(head -c 8 "$work/t.bplist")" = bplist00 ] || fail "convert --to binary wrote no binary plist"
"$tool" convert --to xml "$work/t.bplist" "$work/t.xml"
"$tool" dump "$work/t.xml" > "$work/a.json"
"$tool" dump "$data/plist/cpython-testdata.xml.plist" > "$work/b.json"
cmp -s "$work/a.json" "$work/b.json" || fail "XML → binary → XML changed the values"
# text: RTFD folders, flattened RTFD and plain RTF print their text.
"$tool" text "$data/rtfd/flat/km-styledtext-example1.flatrtfd" > "$work/out.txt"
grep -qx 'ExampleRTFText1' "$work/out.txt" \
    || fail "the flat RTFD sample does not show its text"
"$tool" text "$data/rtfd/Denoise-ReadMe.rtfd" > "$work/out.txt"
grep -q '^Description' "$work/out.txt" \
    || fail "an RTFD folder does not show its text"
"$tool" text --html "$data/rtfd/MouseWarpBug-README.rtfd/TXT.rtf" > "$work/out.txt"
grep -q '<html' "$work/out.txt" \
    || fail "text --html prints no HTML"
"$tool" text --attachments "$work/files" "$data/rtfd/MouseWarpBug-README.rtfd" > /dev/null
cmp -s "$work/files/Pasted Graphic.tiff" "$data/rtfd/MouseWarpBug-README.rtfd/Pasted Graphic.tiff" \
    || fail "text --attachments did not write the attachment's bytes"
status=0; "$tool" text "$work/garbage" 2> "$work/err" || status=$?
[ "$status" -eq 1 ] || fail "text on garbage gave exit code $status"
grep -q "garbage" "$work/err" || fail "the text error does not name the file"
echo "jw-archive test passed ($count files)"
