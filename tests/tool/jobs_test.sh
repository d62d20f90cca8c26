#!/usr/bin/env bash
# What people do with tvsym, on the sample and on small files: nothing is lost on the way, one value has one form, and
# every example of the documentation runs.
# jobs_test.sh TVSYM SOURCE_DIR
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/shell.sh" "$@"
needs_sqlite

tool() { "$tvsym" "$@"; }

tool build -q "$samples/instruments.json" sample.sym || fail "the sample"
cat >small.json <<'TEXT'
{"dictionary": {"1": {"name": "ratio", "type": "float", "tag": 3}, "2": {"name": "day", "type": "date", "tag": 5},
   "3": {"name": "flags", "type": "hex", "tag": 4}, "4": {"name": "on", "type": "bool", "tag": 1}},
 "default-fields": {"day": "2024-01-31"},
 "symbols": [{"symbol": "A", "fields": {"ratio": 0.1, "flags": "5801", "on": true}}, {"symbol": "B", "fields": {"ratio": 0.1, "day": "2024-02-29"}}],
 "eidr-countries": [{"id": 20, "name": "Andorra"}, {"id": 344, "name": "Hong Kong"}]}
TEXT
answer 'status 0' tool build small.json small.sym
cp small.sym bare.sym

# poke FILE OFFSET BYTE...: overwrites bytes, given as \xHH.
poke() { printf "$3" | dd of="$1" bs=1 seek="$2" conv=notrunc status=none; }

# Head values, counts and sizes that do not follow from the elements survive both ways, and check reports them.
tool info --json sample.sym | sed -n 's/.*"id":\([0-9]*\),"offset":\([0-9]*\),.*/\1 \2/p' >sections
entry=0
while read -r id offset; do
    entry=$((entry + 1))
    for place in $((offset + 2)) $((offset + 6)) $((2 + 10 * (entry - 1) + 6)); do
        [ "$id" != 2 ] || continue
        cp sample.sym odd.sym
        poke odd.sym "$place" '\x07'
        cmp -s odd.sym sample.sym && continue
        if tool check -q odd.sym >checked; then
            cmp <(tool dump -q odd.sym) <(tool dump -q sample.sym) >/dev/null && fail "check calls section $id sound after a change at $place"
        fi
        tool dump -q odd.sym >odd.json 2>messages
        tool dump -q --format csv --output odd odd.sym 2>messages
        if ! grep '"_damaged"' odd.json >/dev/null; then
            answer 'status 0' tool build odd.json odd1.sym
            answer 'status 0' tool build odd odd2.sym
            same odd1.sym odd.sym
            same odd2.sym odd.sym
            exact="${exact-} $id"
        fi
        rm -rf odd odd.json
    done
done <sections
[ "$(tr ' ' '\n' <<<"${exact-}" | sort -u | wc -l)" -ge 16 ] || fail "few files come back byte by byte:${exact-}"

# A second entry of an id is shown as bytes and built again: nothing is lost, and nothing needs --damaged.
answer '*' tool dump sample.sym --output twice.json
sed -i 's/^{"id": 22,/{"id": 10, "bytes": "0000"},\n&/' twice.json
answer 'status 0' tool build twice.json twice.sym
tool dump -q twice.sym 2>messages | tool build - twice2.sym || fail "two sections of one id need --damaged"
same twice.sym twice2.sym

# Damage in the first directory entry: the message names the way out.
cp sample.sym first.sym
poke first.sym 4 '\xff\xff\xff\x7f'
for command in info symbols dump "diff first.sym" stats; do
    # shellcheck disable=SC2086 # they are words
    answer '*the default fields cannot be loaded*with --file-mode the other sections can be read
status 2' tool $command first.sym
done
[ "$(tool symbols --json --file-mode first.sym 2>messages | wc -l)" = 1499 ] || fail "--file-mode does not read on"

# One value has one form, with a dictionary and without.
for file in bare small; do
    [ $file = small ] && dictionary=small.sym.fields.json || dictionary=/dev/null
    [ $file = small ] || echo '{}' >empty.json
    [ $file = small ] || dictionary=empty.json
    tool symbols $file.sym --dictionary $dictionary >a
    tool symbols $file.sym --dictionary $dictionary --json >b
    tool dump $file.sym --dictionary $dictionary --format ndjson --section symbols >c
    tool dump $file.sym --dictionary $dictionary --format table --section symbols >d
    cat a b c d >forms.$file
done
grep -E '0x|"value":true' forms.bare && fail "a number without a dictionary is not decimal"
[ "$(grep -c 1036831949 forms.bare)" -ge 5 ] || fail "a number without a dictionary has two forms"
grep '0\.10000000' forms.small && fail "a float of 4 bytes is rounded"
for form in '0x5801' 'true' '2024-02-29'; do
    [ "$(grep -c "$form" forms.small)" = 4 ] || fail "$form: not in all outputs: $(grep "$form" forms.small)"
done
for report in "check --json" "info --json" "stats --json" "diff --json small.sym"; do
    # shellcheck disable=SC2086 # they are words
    tool $report small.sym | grep '"section":"eidr-countries","id":10' >/dev/null || fail "$report: another form of sections"
done

# CSV: an edit of what the dictionary shows is not ignored.
answer 'status 0' tool dump -q small.sym --format csv --output edits
answer 'status 0' tool build edits edits.sym
same edits.sym small.sym
same edits.sym.fields.json small.sym.fields.json
sed -i 's/2024-02-29/2025-02-28/' edits/symbols.csv
answer '*symbols.csv: line *: field_value is "2025-02-28", but value says "2024-02-29"*
status 1' tool build edits edits.sym
rm edits/fields.json
answer '*field_value needs the dictionary*
status 1' tool build edits edits.sym
{ printf 'symbol_no,symbol,field_no,id,tag,value\n1,'; head -c 70000000 /dev/zero | tr '\0' x; } >edits/symbols.csv
answer '*symbols.csv: line 2: a cell of more than 64 MiB
status 1' tool build edits edits.sym
rm -r edits

# Export: the target's name says what is written, and an earlier export does not shine through.
answer 'status 0' tool export -q sample.sym out/
answer 'status 0' tool dump -q sample.sym --format csv --section symbols --output out
[ "$(ls out)" = $'directory.csv\nfields.json\nsymbols.csv' ] || fail "both exports are in the folder: $(ls out)"
answer '*no format follows from this name*
status 64' tool export sample.sym out.txt

# stats and check count the same fields; distinct counts keep what they promise.
fields=$(tool check --json sample.sym | sed -n 's/.*"section":"symbols".*"fields":\([0-9]*\).*/\1/p')
tool stats --json sample.sym | grep "\"section\":\"symbols\".*\"fields\":$fields}" >/dev/null || fail "stats counts other fields than check: $fields"
awk 'BEGIN { print "{\"symbols\": ["; for (i = 0; i < 60000; ++i) {
    printf "%s{\"symbol\": \"S%d\", \"fields\": [", (i ? "," : ""), i
    for (f = 1; f <= 12; ++f) printf "%s{\"id\": %d, \"tag\": 5, \"value\": %d}", (f > 1 ? "," : ""), f, (i * 7919 + f * 1000003) % (20000 + 3500 * f)
    print "]}" } print "]}" }' | tool build - many.sym
tool stats --json many.sym | sed -n 's/^{"id":\([0-9]*\),"name":null.*"distinct":\([0-9]*\),.*/\1 \2/p' |
    awk '{ true_count = 20000 + 3500 * $1; error = $2 / true_count - 1; if (error > 0.03 || error < -0.03) { print "off by", error; bad = 1 } ++n } END { exit bad || n != 12 }' ||
    fail "distinct counts"

# Dictionaries: a bad one beside the file is a message; a comparison knows both files' names.
cp small.sym bad.sym
echo '{"1": ' >bad.sym.fields.json
answer '*bad.sym.fields.json: *; fields have no names and types
A
*status 0' bash -c "'$tvsym' symbols bad.sym 2>&1"
answer '*bad.sym.fields.json: *
status 2' tool symbols small.sym --dictionary bad.sym.fields.json
sed 's/"ratio": 0.1, "day"/"ratio": 0.2, "day"/' small.json >new.json
tool build new.json new.sym && rm new.sym.fields.json
answer '*ratio*0.1*0.2*status 1' tool diff small.sym new.sym

# Texts in another character set, numbers that nothing holds, pipes.
printf '{"symbols": [{"symbol": {"hex": "a4a4a4e5"}}]}' | tool build - big5.sym
answer '*tvsym: big5.sym: some texts are not valid UTF-8*--encoding*
status 0' tool symbols big5.sym
answer $'\xe4\xb8\xad\xe6\x96\x87\nstatus 0' tool symbols --encoding BIG5 big5.sym
echo '{"symbols": [{"symbol": "A", "fields": [{"id": 1, "tag": 6, "value": 1e400}]}]}' >overflow.json
answer 'tvsym: overflow.json: /symbols/0/fields/0/value: the number 1e400 is too large
status 1' tool build overflow.json overflow.sym
answer '*small*status 0' bash -c "'$tvsym' diff --summary <(cat small.sym) <(cat small.sym) && echo small"

# A condition that leaves out the last symbols prints nothing of them.
[ "$(tool dump sample.sym --where 'symbol_no = 1' --format ndjson --section symbols | wc -l)" = 1 ] || fail "a symbol that was left out is printed"
[ "$(tool dump sample.sym --limit 2 --format ndjson --section symbols | wc -l)" = 2 ] || fail "--limit in dump"

# Flat tables: what export writes build reads; only which values are defaults is not in them.
values() { tool sql "$1" --all-fields --format csv 'SELECT * FROM symbols'; }
for target in wide.csv wide.ndjson; do
    answer 'status 0' tool export sample.sym $target
    answer 'status 0' tool build $target wide.sym
    same <(values wide.sym) <(values sample.sym)
    answer 'status 0' tool build $target --optimize-defaults smaller.sym
    same <(values smaller.sym) <(values sample.sym)
    [ "$(wc -c <smaller.sym)" -lt "$(wc -c <wide.sym)" ] || fail "--optimize-defaults saves nothing"
    answer 'status 0' tool build $target --default currency=USD smaller.sym
    same <(values smaller.sym) <(values sample.sym)
    tool dump smaller.sym | grep '"default-fields", "fields": \[' >/dev/null || fail "--default makes no default"
    rm wide.sym* smaller.sym*
done
answer 'status 0' bash -c "'$tvsym' dump --format ndjson sample.sym | '$tvsym' build --format ndjson --dictionary '$samples/fields.json' - lines.sym"
same lines.sym sample.sym
printf 'symbol,lot,note\nA,1,x\n' >flat.csv
echo '{"1": {"name": "lot", "type": "unsigned", "tag": 1}, "2": {"name": "day", "type": "date", "tag": 5}}' >flat.json
answer 'tvsym: flat.csv: line 1: no field is called "note"*
status 1' tool build flat.csv flat.sym --dictionary flat.json
printf 'lot,symbol,day\n1,A,2024-01-31\n300,B,\n,C,2024-02-30\n' >flat.csv
answer 'tvsym: flat.csv: line 3: *found 300
tvsym: flat.csv: line 4: *found "2024-02-30"
status 1' tool build flat.csv flat.sym --dictionary flat.json
answer 'tvsym: standard input: line 2: /fields/lot: *found "x"
tvsym: standard input: line 3: *
status 1' bash -c "printf '%s\n' '{\"symbol\":\"A\",\"lot\":1}' '{\"symbol\":\"B\",\"lot\":\"x\"}' '[' | '$tvsym' build --format ndjson - flat.sym --dictionary flat.json"
answer 'tvsym: --default lot: *
status 64' tool build small.json flat.sym --default lot

# Questions by eye, and what a host will see.
answer 'venue   symbols
US          615  ####*
(none)      379  ###*
status 0' tool stats sample.sym --by venue --top 2
tool info --schema bare.sym | grep '"2":{"name":"field_2","type":"date","tag":5}' >/dev/null || fail "no date in the schema"
echo 'name, venue' >ids.txt
answer '*sound
status 0' tool check sample.sym --budget 4MiB --filter ids.txt
answer '*readers cannot open it: *
status 2' tool check sample.sym --budget 60

# How it looks.
answer '*"file": "small.sym",*
      "section": "symbols",*
status 0' tool info --json --pretty small.sym
python3 -c 'import json, sys; json.load(sys.stdin)' < <(tool stats --json --pretty sample.sym) || fail "--pretty is not JSON"
answer '*tvsym stats: * s, * read, */s
status 0' tool stats sample.sym --verbose
tool symbols small.sym --limit 1 --color always | grep $'^\e' >/dev/null || fail "no colour"
answer '*--color: *
status 64' tool symbols small.sym --color sometimes

# What goes wrong outside, over the ways to write: a full disk is an error, a reader that has seen enough is not,
# and nothing half-written stays. A command that begins with "to" has a file to write.
tool export sample.sym wide.ndjson
mkfifo closed
exec 8<>closed 9>closed 8<&-
echo old >old.out
tool diff small.sym sample.sym --format patch >patch
while read -r command; do
    if [ "${command#to }" = "$command" ]; then
        # shellcheck disable=SC2086 # they are words
        { tool $command >/dev/full; } 2>messages
        [ "$?$(cat messages)" = '2tvsym: standard output: cannot be written: No space left on device' ] || fail "$command on a full disk: $(cat messages)"
        # shellcheck disable=SC2086
        tool $command >&9 2>messages || fail "$command on a broken pipe: $(cat messages)"
    else
        # shellcheck disable=SC2086
        answer 'tvsym: old.out: *cannot be written*
status 2' bash -c "ulimit -f 2; '$tvsym' ${command#to }"
    fi
done <<'COMMANDS'
sql sample.sym SELECT/**/*/**/FROM/**/symbols
symbols sample.sym --columns symbol,name --order-by name
get sample.sym --search a --limit 400
dump sample.sym --format ndjson --order-by symbol
dump sample.sym --format table --columns symbol
stats sample.sym --top 1000
stats sample.sym --order-by symbol --limit 9
info sample.sym --schema
export sample.sym -
build wide.ndjson -
extract sample.sym -
edit sample.sym - --set kind=2
sort sample.sym -
merge sample.sym small.sym - --on-duplicate last
apply small.sym patch -
to dump sample.sym --output old.out --format csv --columns symbol
to build wide.ndjson old.out
to edit sample.sym old.out --set kind=2
to sort sample.sym old.out --order-by name
to merge sample.sym small.sym old.out --on-duplicate last
to split sample.sym --by "'out'" --output old.{}
to apply small.sym patch old.out
COMMANDS
exec 9>&-
[ "$(cat old.out; ls | grep -c part)" = "old
0" ] || fail "a part is left, or the old file is not: $(ls)"

# A signal while a file is written leaves the old one, and no others; the new one is whole where it came too late.
cp many.sym target.sym
tool dump -q many.sym --output many.json
tool edit -q many.sym edited.sym --set 1=5 >messages
tool diff many.sym edited.sym --format patch >patch
mkdir spool
killed=0
while read -r command; do
    for signal in INT TERM; do
        set -m  # otherwise bash has its jobs ignore INT
        # shellcheck disable=SC2086 # they are words
        TMPDIR=spool "$tvsym" $command >stopped 2>&1 &
        set +m
        while kill -0 $! 2>messages && ! compgen -G '*.part' >messages; do :; done
        kill -$signal $! 2>messages
        wait $! 2>messages
        case $? in
            130 | 143) killed=$((killed + 1)) ;;
            0) ;;
            *) fail "$command and SIG$signal: $(cat stopped)" ;;
        esac
        if ! cmp -s target.sym many.sym; then
            mv target.sym whole.sym
            cp many.sym target.sym
            tool $command >messages 2>&1
            same target.sym whole.sym
            cp many.sym target.sym
        fi
        [ -z "$(ls spool; compgen -G '*.part')" ] || fail "$command and SIG$signal leave $(ls spool; compgen -G '*.part')"
    done
done <<'COMMANDS'
edit many.sym target.sym --set 1=6
edit --in-place target.sym --set 1=7
sort many.sym target.sym --order-by field_3
merge many.sym sample.sym target.sym
split many.sym --by symbol_no%3+0*length('target') --output target.sym{}
apply many.sym patch target.sym
build many.json target.sym
dump many.sym --order-by field_3 --format ndjson --output target.sym
COMMANDS
[ $killed -gt 3 ] || fail "only $killed commands were stopped by a signal"

# Of changes to one file at one time, one wins; the file is never a mixture.
for value in 1 2 3 4 5 6; do
    tool edit -q many.sym expected.$value --set 1=$value >messages
    tool edit -q --in-place target.sym --set 1=$value >messages.$value 2>&1 &
done
wait
for value in 1 2 3 4 5 6; do cmp -s target.sym expected.$value && break; done || fail "several changes mixed: $(cat messages.*)"
[ -z "$(compgen -G '*.part')" ] || fail "parallel changes leave $(compgen -G '*.part')"
rm -rf many.* expected.* target.sym* whole.sym edited.sym* messages.* spool patch

# Changes: what cannot be done is refused before anything is written, and a rule decides about duplicates.
for refused in "edit sample.sym out.sym" "edit sample.sym out.sym --set kind" "edit sample.sym out.sym --set kind=x" \
    "edit sample.sym out.sym --set kind=1 --remove kind" "edit sample.sym --set kind=1" "edit sample.sym sample.sym --set kind=1" \
    "extract sample.sym out.sym --section 14 --limit 1" "merge sample.sym small.sym" "merge sample.sym small.sym small.sym" \
    "apply sample.sym sample.sym sample.sym"; do
    # shellcheck disable=SC2086
    answer 'tvsym: *
status [26]*' tool $refused
done
[ ! -e out.sym ] || fail "refused, and written"
answer 'tvsym: sample.sym: is not a patch of tvsym diff --format patch
status 2' tool apply sample.sym sample.sym out.sym
# B and C are in both files; B is the same, C has other fields; one default field is in both, one in the first.
printf '%s' '{"default-fields": [{"id": 9, "tag": 7, "value": "old"}, {"id": 8, "tag": 1, "value": 1}], "symbols": [{"symbol": "B", "fields": [{"id": 9, "tag": 7, "value": "b"}]}, {"symbol": "C", "fields": [{"id": 5, "tag": 7, "value": "five"}]}, {"symbol": "A"}], "eidr-countries": [{"id": 1, "name": "one"}, {"id": 2, "name": "two"}]}' | tool build - left.sym
printf '%s' '{"default-fields": [{"id": 8, "tag": 1, "value": 1}], "symbols": [{"symbol": "C", "fields": [{"id": 6, "tag": 7, "value": "six"}]}, {"symbol": "B", "fields": [{"id": 9, "tag": 7, "value": "b"}]}], "eidr-countries": [{"id": 1, "name": "one"}, {"id": 3, "name": "three"}]}' | tool build - right.sym
answer 'tvsym: C is in left.sym and in right.sym, with other fields; *
status 1' tool merge left.sym right.sym out.sym
echo '{"5": {"name": "five", "type": "text"}, "6": {"name": "six", "type": "text"}, "8": {"name": "eight", "type": "unsigned"}, "9": {"name": "nine", "type": "text"}}' >merged.json
for rule in 'first five-old' 'last -six-' 'fields five-six-old'; do
    # shellcheck disable=SC2086
    set -- $rule
    answer '3 symbols of 2 files, 2 duplicates *status 0' tool merge left.sym right.sym out.sym --on-duplicate "$1"
    found=$(tool sql out.sym --dictionary merged.json --format csv "SELECT group_concat(symbol || coalesce(five, '') || '-' || coalesce(six || '-', '') || coalesce(nine, '') || eight, ' '), (SELECT group_concat(id || name) FROM eidr_countries) FROM symbols" | tail -n 1 | tr -d '\r')
    [ "$found" = "A-old1 B-b1 C${2}1,\"1one,2two,3three\"" ] || fail "merge $rule: $found"
done
# Two defaults that no file shares, and a file whose names differ under one key.
echo '{"symbols": [{"symbol": "D"}], "eidr-countries": [{"id": 1, "name": "uno"}]}' | tool build - uno.sym
answer 'tvsym: section 10 (Eidr countries): elements with one key of left.sym and uno.sym differ; *
status 1' tool merge left.sym uno.sym out2.sym
[ ! -e out2.sym ] || fail "refused, and written"
answer '*status 0' tool merge left.sym uno.sym out2.sym --on-duplicate last
[ "$(tool sql out2.sym --all-fields --format csv "SELECT count(field_8), count(*) FROM symbols" | tail -n 1 | tr -d '\r')" = 3,4 ] || fail "a default became the value of another file's symbol"

# The names that split makes of values; one that two values share is refused, as is that of the source.
mkdir names
while read -r value name; do
    answer '* symbols in 1 file
status 0' tool split sample.sym --by "$value" --output "names/{value}"
    [ -e "names/$name" ] || fail "split by $value: $(ls -A names)"
done <<'VALUES'
NULL none
'' empty
'../a.b' %2E.%2Fa.b
char(32) %20
VALUES
for refused in "CASE symbol_no WHEN 1 THEN '' ELSE 'empty' END names/new{}" "'sample' {}.sym"; do
    answer 'tvsym: *
status 64' tool split sample.sym --by "${refused% *}" --output "${refused##* }"
done
[ "$(ls names | grep -c new)" = 0 ] || fail "refused, and written"

# On a terminal a pager shows the output, in colour; leaving it early is not an error.
PAGER='sed "s/^/[/"' TERM=xterm script -qec "'$tvsym' symbols small.sym --limit 1" typed </dev/null | grep '^\[.*A' >/dev/null || fail "no pager"
PAGER='head -n 1' TERM=xterm answer '*
status 0' script -qec "'$tvsym' diff small.sym sample.sym" typed </dev/null
PAGER='no-such-pager' TERM=xterm answer '*the program that PAGER names was not found*status 2' script -qec "'$tvsym' check small.sym" typed </dev/null
PAGER='no-such-pager' TERM=xterm answer '*sound*status 0' script -qec "'$tvsym' check small.sym --no-pager" typed </dev/null

# Selections apply to symbols; what they cannot apply to is refused.
answer 'symbol,first_tick*status 0' tool dump sample.sym --format csv --columns 'symbol, first_tick' --order-by 'first_tick DESC' --limit 2
for refused in '--columns symbol' '--order-by symbol --format json' '--limit 3 --section 14' \
    '--order-by symbol --format csv --section symbols --section 14'; do
    # shellcheck disable=SC2086
    answer 'tvsym: *symbols*
status 64' tool dump sample.sym $refused
done
answer '*status 64' tool stats sample.sym --columns venue
answer '*status 64' tool stats sample.sym --order-by venue
answer 'n   symbols
HK        2  *
status 0' tool stats sample.sym --top 1 --columns 'venue AS n' --order-by "venue = 'HK' DESC" --limit 2

# The examples of the documentation and of the help texts.
mkdir examples && cd examples || exit 1
tool build "$samples/instruments.json" instruments.sym
for name in yesterday today old; do cp instruments.sym $name.sym; cp instruments.sym.fields.json $name.sym.fields.json; done
cp "$samples/fields.json" fields.json
echo name >ids.txt
printf 'symbol,lot,currency\nA,100,USD\nB,200,USD\nC,100,EUR\n' >lots.csv
echo '{"1": {"name": "lot", "type": "unsigned", "tag": 3}, "4": {"name": "currency", "type": "text"}}' >lots.json
PATH=$(dirname "$tvsym"):$PATH
sed -n '/^```sh$/,/^```$/{/^```/d;p}' "$source_dir/docs/tvsym.md" >commands
for command in info symbols dump get sql stats build check diff export edit extract split sort merge apply; do
    tool help $command | sed -n '/^Examples:/,$s/^  \(tvsym\|sqlite3\) /\1 /p'
done >>commands
while IFS= read -r line; do
    rm -f lots.sym* copy.sym*
    bash -c "set -o pipefail; $line" >output 2>&1 </dev/null || fail "example: $line: $(head -n 3 output)"
done <commands
[ "$(wc -l <commands)" -gt 50 ] || fail "where are the examples?"

finish
