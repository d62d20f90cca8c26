#!/usr/bin/env bash
# tvsym build as a process: statuses, messages, streams, and that a failure leaves the old file.
# build_test.sh TVSYM SOURCE_DIR
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/shell.sh" "$@"

echo '{"symbols": [{"symbol": "A", "fields": {"x": 1}}, {"symbol": 2}]}' >wrong.json
echo '{"symbols": [}' >syntax.json
echo '{"symbols": [{"symbol": "中文"}]}' >chinese.json
printf '{"eidr-quick-groups": [{"name": "%070000d"}]}' 0 >large.json
echo old >old.sym
cp old.sym kept.sym
mkdir directory

expect 1 'tvsym: wrong.json: /symbols/0/fields/x: *
tvsym: wrong.json: /symbols/1/symbol: expected a text, found 2' "$tvsym" build wrong.json old.sym
expect 1 'tvsym: syntax.json: line 1, column 14: *' "$tvsym" build syntax.json old.sym
expect 1 'tvsym: large.json: /sections/0/groups/0: section 6: the size is 70001,*65535' "$tvsym" build large.json old.sym
expect 2 'tvsym: wrong.json: /symbols: *' "$tvsym" build --dictionary wrong.json chinese.json old.sym
expect 2 'tvsym: missing.json: No such file or directory' "$tvsym" build missing.json old.sym
expect 2 'tvsym: directory: is a directory' "$tvsym" build chinese.json directory
expect 2 'tvsym: no/x.sym: no is not a directory' "$tvsym" build chinese.json no/x.sym
expect 64 'tvsym: *NO-SUCH-SET*' "$tvsym" build --encoding NO-SUCH-SET chinese.json old.sym
[ -e /dev/full ] && expect 2 'tvsym: /dev/full: *' "$tvsym" build chinese.json /dev/full
same old.sym kept.sym

# A disk that is full: as much as fits, then an error.
"$tvsym" build "$source_dir/samples/instruments.json" sample.sym
full() {
    (ulimit -f 20 && "$tvsym" "$@")
}
expect 2 'tvsym: old.sym: cannot be written: File too large' full build "$source_dir/samples/instruments.json" old.sym
expect 2 'tvsym: old.sym: cannot be written: File too large' full dump sample.sym --output old.sym
expect 2 'tvsym: new/symbols.csv: cannot be written: File too large' full dump sample.sym --format csv --output new
expect 2 'tvsym: new/symbols.csv: cannot be written: File too large' full export sample.sym new/
if "$tvsym" export --format sqlite sample.sym probe.db 2>&1 | grep -q 'built without SQLite'; then
    echo "not tried: SQLite, which this tvsym was built without"
else
    expect 2 'tvsym: old.sym: *' full export --format sqlite sample.sym old.sym
fi
[ ! -e new ] || fail "a folder is left"
same old.sym kept.sym
[ "$(find . -name '*.part*')" = "" ] || fail "a part is left"

# Nor does a process that is killed leave one.
mkdir spool
mkfifo pipe
TMPDIR=spool "$tvsym" info - <pipe &
killed=$!
exec 7>pipe
while [ -z "$(ls spool)" ]; do sleep 0.05; done
kill -TERM "$killed"
wait "$killed"
if [ $? != 143 ] || [ -n "$(ls spool)" ]; then
    echo "FAILED: a killed process left: $(ls spool)"
    failures=$((failures + 1))
fi
exec 7>&-

# A link stays a link, the file keeps its permissions, and both streams work.
chmod 640 old.sym
ln -s old.sym link.sym
expect 0 '' "$tvsym" build "$source_dir/samples/instruments.json" link.sym
if [ ! -L link.sym ] || [ "$(stat -c %a old.sym)" != 640 ]; then
    echo "FAILED: link or mode lost"
    failures=$((failures + 1))
fi
expect 0 '' "$tvsym" build - - <"$source_dir/samples/instruments.json"
same stdout old.sym
expect 0 '' "$tvsym" build --encoding BIG5 chinese.json big5.sym
grep -q -a $'\xa4\xa4\xa4\xe5' big5.sym || fail "not in Big5"

# Folders of CSV files: what dump wrote, columns in another order, and what is wrong with its line.
expect 0 '' "$tvsym" dump --quiet --format csv --output tables --dictionary "$source_dir/samples/fields.json" old.sym
expect 0 '' "$tvsym" build tables again.sym
same again.sym old.sym
mkdir edited damaged
printf '\xef\xbb\xbfname,note,id\n"a ""b"", c",x,1\r\nhex:ff,,2\n\n' >edited/fund-companies.csv
printf 'definition_no,definition_first,definition_second,definition_third,id_no,id\n1,5 6,,1,1,7\n1,5 6,,1,2,8\n2,,,,,\n' \
    >edited/level2-eod-items.csv
printf 'bytes\n0102\nff\n' >edited/section-99.csv
printf 'head_no,head_id,head_name,item_no,item_tag,name_no,name\n1,7,h,1,2,1,n\n1,7,h,1,2,2,\n1,7,h,2,3,,\n2,8,,,,,\n' \
    >edited/foreign-trade.csv
expect 0 '' "$tvsym" build edited edited.sym
expect 0 '*: some texts are not valid UTF-8*' "$tvsym" dump --quiet edited.sym
cat >expected <<'TEXT'
{"sections": [
{"id": 9, "name": "fund-companies", "elements": [
{"id":1,"name":"a \"b\", c"},
{"id":2,"name":{"hex":"ff"}}
]},
{"id": 14, "name": "foreign-trade", "heads": [
{"id":7,"name":"h","items":[{"tag":2,"names":["n",""]},{"tag":3,"names":[]}]},
{"id":8,"name":"","items":[]}
]},
{"id": 18, "name": "level2-eod-items", "definitions": [
{"first":[5,6],"second":[],"third":[1],"ids":[7,8]},
{"first":[],"second":[],"third":[],"ids":[]}
]},
{"id": 99, "bytes": "0102ff"}
]}
TEXT
same stdout expected
printf 'first,second\n1,256\n' >damaged/real-delay.csv
printf 'symbol_no,symbol,field_no,id,tag,value\n1,A,1,7,1,300\n1,A,2,x,7,ok\n1,A,3\n2,"B\n' >damaged/symbols.csv
printf 'id,nam\n' >damaged/fund-companies.csv
expect 1 'tvsym: damaged: symbols.csv: line 3: id: expected a number, found "x"
tvsym: damaged: symbols.csv: line 4: expected 6 cells, found 3
tvsym: damaged: symbols.csv: line 5: expected 6 cells, found 2
tvsym: damaged: symbols.csv: line 5: a quoted cell is not closed
tvsym: damaged: symbols.csv: line 2: /fields/0/value: *, found 300
tvsym: damaged: fund-companies.csv: line 1: the column "name" is missing
tvsym: damaged: real-delay.csv: line 2: /second: *, found 256' "$tvsym" build damaged old.sym
printf 'id,file,before\n70000,x.csv,\n9,../x.csv,\n9,fund-companies.csv,1\n,,1z\n' >edited/directory.csv
expect 1 'tvsym: edited: directory.csv: line 2: id: *65535, found "70000"
tvsym: edited: directory.csv: line 3: file: *, found "../x.csv"
tvsym: edited: directory.csv: line 4: *
tvsym: edited: directory.csv: line 5: *' "$tvsym" build edited old.sym
printf 'id,file,before\n9,gone.csv,\n' >edited/directory.csv
expect 2 'tvsym: edited/gone.csv: No such file or directory' "$tvsym" build edited old.sym
expect 2 'tvsym: directory: *symbols.csv' "$tvsym" build directory old.sym
same old.sym again.sym

# Rows that say nothing, or two things, are errors: none is dropped.
mkdir rows
printf 'symbol_no,symbol,field_no,id,tag,value\n1,A,1,7,7,x\n1,B,1,7,7,y\n,C,1,7,7,z\n2,D,,,,\n2,D,,,,\n3,E,,7,7,v\n' >rows/symbols.csv
expect 1 'tvsym: rows: symbols.csv: line 3: symbol_no 1 was another symbol in the row before
tvsym: rows: symbols.csv: line 4: symbol_no is empty
tvsym: rows: symbols.csv: line 6: symbol_no 2 again, with nothing below it
tvsym: rows: symbols.csv: line 7: field_no is empty, but not what follows' "$tvsym" build rows old.sym

# What dump writes of a damaged file is marked, and not built without being asked.
head -c 5000 old.sym >cut.sym
"$tvsym" dump -q cut.sym >cut.json 2>messages
"$tvsym" dump -q --format csv --output cut cut.sym 2>messages
expect 1 'tvsym: cut.json: dumped from a damaged file*' "$tvsym" build cut.json cut2.sym
expect 1 'tvsym: cut: directory.csv: line *: dumped from a damaged file*' "$tvsym" build cut cut2.sym
expect 0 '' "$tvsym" build --damaged cut.json cut2.sym
expect 0 '' "$tvsym" build --damaged cut cut3.sym
same cut2.sym cut3.sym
expect 1 '*' "$tvsym" dump -q --format ndjson cut.sym
[ "$(tail -n 1 stdout)" = '{"damaged":true}' ] || fail "ndjson not marked"

# Numbers of 8 bytes survive what knows doubles only.
echo '{"sections": [{"id": 2, "symbols": [{"symbol": "A", "fields": [{"id": 1, "tag": 6, "value": 4607632778762754458}, {"id": 2, "tag": 6, "value": 9007199254740992}]}]}]}' >eight.json
expect 0 '' "$tvsym" build eight.json eight.sym
expect 0 '' "$tvsym" dump eight.sym
python3 -c 'import json, sys; json.dump(json.load(sys.stdin, parse_int=float), sys.stdout)' <stdout | sed 's/\([0-9]\)\.0\b/\1/g' >doubles.json
expect 0 '' "$tvsym" build doubles.json doubles.sym
same eight.sym doubles.sym

# Compressed: by name on the way out, by content on the way in, from files and pipes; cut off, damaged and far too large.
if "$tvsym" dump sample.sym --output sample.json.gz 2>messages && "$tvsym" dump sample.sym --output sample.json.zst; then
    "$tvsym" dump sample.sym --output sample.json
    for ending in gz zst; do
        [ "$(wc -c <sample.json.$ending)" -lt "$(($(wc -c <sample.json) / 2))" ] || fail "not compressed: $ending"
        expect 0 '' "$tvsym" build sample.json.$ending packed.sym.$ending
        expect 0 '' "$tvsym" build - packed.sym <sample.json.$ending
        same packed.sym sample.sym
        for reader in "dump packed.sym.$ending" "dump - --dictionary packed.sym.fields.json"; do
            # shellcheck disable=SC2086 # they are words
            expect 0 '' "$tvsym" $reader <packed.sym.$ending
            same stdout sample.json
        done
        for size in 5 1000 $(($(wc -c <packed.sym.$ending) - 1)); do
            head -c "$size" packed.sym.$ending >cut.$ending
            expect 2 "tvsym: cut.$ending: the compressed data is cut off" "$tvsym" edit cut.$ending old.sym --set 1=x
        done
        { head -c 3000 packed.sym.$ending; head -c 50 /dev/zero; tail -c +3051 packed.sym.$ending; } >bad.$ending
        expect 2 "tvsym: bad.$ending: the compressed data is *" "$tvsym" info bad.$ending
        cat packed.sym.$ending packed.sym.$ending >twice.$ending
        cat sample.sym sample.sym >twice.sym
        "$tvsym" extract twice.$ending whole.sym >messages 2>&1
        same whole.sym twice.sym
    done
    head -c 100000000 /dev/zero | gzip -1 >bomb.gz
    # Blocks of 128 KiB of one byte, in 4 bytes each.
    { printf '\x28\xb5\x2f\xfd\x00\x38'; printf '\x02\x00\x10x%.0s' {1..1000}; } >bomb.zst
    for bomb in bomb.gz bomb.zst; do
        expect 2 "tvsym: $bomb: expands to more than 200 times its size*" "$tvsym" sort $bomb old.sym
    done
    same old.sym sample.sym
    [ -e /dev/full ] && expect 2 'tvsym: old.sym.gz: cannot be written: File too large' full build "$source_dir/samples/instruments.json" old.sym.gz
    [ -z "$(ls spool; find . -name '*.part*')" ] || fail "something is left"
else
    echo "not tried: compression: $(cat messages)"
fi

# No source is written over.
echo '{}' >words.json
expect 64 'tvsym: tables/symbols.csv: is the file that is read*' "$tvsym" build tables tables/symbols.csv
expect 64 'tvsym: words.json: is the file that is read*' "$tvsym" build --dictionary words.json chinese.json words.json

# An answer that could not be read is not "nothing is wrong".
mkfifo closed
exec 8<>closed 9>closed 8<&-
for command in "check old.sym" "diff old.sym edited.sym" "diff --summary --json old.sym old.sym"; do
    # shellcheck disable=SC2086 # they are words
    "$tvsym" $command >&9 2>messages
    [ $? = 2 ] || fail "$command on a broken pipe"
done
exec 9>&-

finish
