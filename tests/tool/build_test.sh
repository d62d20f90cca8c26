#!/usr/bin/env bash
# tvsym build as a process: statuses, messages, streams, and that a failure leaves the old file.
# build_test.sh TVSYM SOURCE_DIR
set -u
tvsym=$(realpath "$1")
source_dir=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
failures=0

# expect STATUS STDERR COMMAND...: STDERR is a pattern of the whole of it, with * and ?.
expect() {
    local status=$1 pattern=$2 got message
    shift 2
    message=$("$@" 2>&1 >stdout)
    got=$?
    # shellcheck disable=SC2053 # it is a pattern
    if [ "$got" != "$status" ] || [[ $message != $pattern ]]; then
        echo "FAILED: $*: status $got, expected $status; stderr: $message; expected: $pattern"
        failures=$((failures + 1))
    fi
}

same() {
    cmp "$@" || failures=$((failures + 1))
}

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
expect 1 'tvsym: large.json: /sections/0/groups/0: the size of the group is 70001,*65535' "$tvsym" build large.json old.sym
expect 1 'tvsym: wrong.json: /symbols: *' "$tvsym" build --dictionary wrong.json chinese.json old.sym
expect 2 'tvsym: missing.json: No such file or directory' "$tvsym" build missing.json old.sym
expect 2 'tvsym: directory: is a directory' "$tvsym" build directory old.sym
expect 2 'tvsym: directory: is a directory' "$tvsym" build chinese.json directory
expect 2 'tvsym: no/x.sym: no is no directory' "$tvsym" build chinese.json no/x.sym
expect 64 'tvsym: *NO-SUCH-SET*' "$tvsym" build --encoding NO-SUCH-SET chinese.json old.sym
[ -e /dev/full ] && expect 2 'tvsym: /dev/full: *' "$tvsym" build chinese.json /dev/full
same old.sym kept.sym
[ "$(find . -name '*.part')" = "" ] || { echo "FAILED: a part is left"; failures=$((failures + 1)); }

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
grep -q -a $'\xa4\xa4\xa4\xe5' big5.sym || { echo "FAILED: not in Big5"; failures=$((failures + 1)); }

[ "$failures" = 0 ]
