#!/usr/bin/env bash
# tvsym sql and the SQLite extension as processes: what they answer is what export writes, on sound and on damaged files.
# sql_test.sh TVSYM SOURCE_DIR
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/shell.sh" "$@"
extension=$(dirname "$tvsym")/../lib/torva

sql() { "$tvsym" sql "$@"; }
quiet() { "$@" 2>/dev/null; }

needs_sqlite

"$tvsym" build "$samples/instruments.json" sample.sym
cp "$samples/fields.json" sample.sym.fields.json

# same_as_export FILE TABLE...: the tables of the file and those of its export, row by row.
same_as_export() {
    local file=$1 table columns
    shift
    rm -f export.db
    "$tvsym" export -q "$file" export.db 2>exported
    for table in "$@"; do
        columns=$(sqlite3 export.db "SELECT group_concat('quote(\"' || name || '\")') FROM pragma_table_info('$table')")
        sqlite3 export.db "SELECT $columns FROM $table ORDER BY 1, 2" >theirs
        rm -f ours.db
        sql "$file" --output ours.db "SELECT $columns FROM $table ORDER BY 1, 2" 2>ours.err
        sqlite3 ours.db 'SELECT * FROM result' >ours
        if ! cmp theirs ours || { [ "$table" = symbols ] && ! cmp exported ours.err; }; then
            echo "FAILED: $file, $table: not what export writes"
            failures=$((failures + 1))
        fi
    done
}

tables=$("$tvsym" export -q sample.sym export.db && sqlite3 export.db "SELECT name FROM sqlite_master
    WHERE type = 'table' AND name NOT IN ('problems', 'fields')")
# shellcheck disable=SC2086 # they are words
same_as_export sample.sym $tables
mv sample.sym.fields.json fields.json
same_as_export sample.sym symbols symbol_fields

# Damage: the rows up to it, and what is wrong, are those of export for every cut.
echo '{"sections": [{"id": 1, "fields": [{"id": 3, "tag": 4, "value": 7}, {"id": 9, "tag": 7, "value": "d"}]},
  {"id": 2, "symbols": [{"symbol": "A", "fields": [{"id": 1, "tag": 7, "value": "one"}, {"id": 2, "tag": 6, "value": 5}]},
    {"symbol": "B", "fields": [{"id": 3, "tag": 4, "value": 8}, {"id": 1, "tag": 7, "value": "two"}, {"id": 4, "tag": 0, "value": null}]}]}]}' >small.json
"$tvsym" build small.json small.sym
size=$(wc -c <small.sym)
for ((cut = 48; cut <= size; ++cut)); do
    head -c "$cut" small.sym >cut.sym
    same_as_export cut.sym symbols symbol_fields
done
head -c $((size - 3)) small.sym >cut.sym
answer 'symbol
A
B
tvsym: cut.sym: section 2 (symbols), offset 0x*: is 47 bytes long*
tvsym: cut.sym: section 2 (symbols), offset 0x*: symbol "B": *
status 1' sql cut.sym 'SELECT symbol FROM symbols'
# A record that is looked up again and again is the same one, damaged or not.
answer 'n
3
*status 1' sql cut.sym "SELECT count(*) n FROM (VALUES ('A'), ('B'), ('C'), ('A')) JOIN symbols ON symbol = column1"

# Values: 8 bytes, bytes that are not text, a zero byte in a text, names that SQL could mistake.
echo '{"dictionary": {"1": {"name": "big\"; DROP TABLE x; --", "type": "unsigned", "tag": 6},
    "2": {"name": "Symbol", "type": "text", "tag": 7}, "3": {"name": "ratio", "type": "float", "tag": 3},
    "4": {"name": "day", "type": "date", "tag": 5}}}' >odd.json
sed 's/^{"dictionary": //; s/}$//' odd.json >odd.sym.fields.json
echo '{"sections": [{"id": 2, "symbols": [
  {"symbol": {"hex": "ff41"}, "fields": [{"id": 1, "tag": 6, "value": 18446744073709551615}, {"id": 2, "tag": 3, "value": 65}]},
  {"symbol": "7", "fields": [{"id": 1, "tag": 6, "value": 9007199254740993}, {"id": 3, "tag": 3, "value": 1036831949}]},
  {"symbol": "8", "fields": [{"id": 1, "tag": 6, "value": 1}, {"id": 4, "tag": 5, "value": 20230231}]}]}]}' >odd.json
"$tvsym" build odd.json odd.sym || failures=$((failures + 1))
answer '{"symbol_no":1,"symbol":{"hex":"ff41"},"big\"; DROP TABLE x; --":"18446744073709551615","Symbol_2":{"hex":"41000000"},"ratio":null,"day":null}
{"symbol_no":2,"symbol":"7","big\"; DROP TABLE x; --":"9007199254740993","Symbol_2":null,"ratio":0.1,"day":null}
{"symbol_no":3,"symbol":"8","big\"; DROP TABLE x; --":1,"Symbol_2":null,"ratio":null,"day":20230231}
status 0' quiet sql odd.sym --format ndjson 'SELECT * FROM symbols'
answer $'a,a\r
hex:ff41,\r
tvsym: odd.sym: *
status 0' sql odd.sym --format csv "SELECT symbol a, NULL a FROM symbols WHERE \"big\"\"; DROP TABLE x; --\" > 9007199254740993"
answer 'n
2
*status 0' sql odd.sym "SELECT symbol_no n FROM symbols WHERE symbol = 7 AND ratio = 0.1"
answer 'n
1
*status 0' sql odd.sym "SELECT symbol_no n FROM symbols WHERE symbol = x'ff41'"

# Names of files, and several of them.
cp small.sym "it's \"; DROP TABLE symbols; --.sym"
cp odd.sym -- '-new.sym'
answer 'n
2
status 0' sql "it's \"; DROP TABLE symbols; --.sym" 'SELECT count(*) n FROM symbols'
answer 'o  n
2  3
status 0' sql old=small.sym new=./-new.sym 'SELECT (SELECT count(*) FROM old.symbols) o, (SELECT count(*) FROM "new".symbols) n'
answer 'tvsym: two files are called small*
status 64' sql small.sym ./small.sym 'SELECT 1'
answer 'tvsym: "main" cannot be the name*
status 64' sql main=small.sym 'SELECT 1'
answer 'symbol  o  n
A       5  5
status 0' sql old=small.sym new=small.sym 'SELECT symbol, a.field_2 o, b.field_2 n FROM old.symbols a JOIN new.symbols b USING (symbol) WHERE n'

# Statements can read, and nothing else.
for statement in "ATTACH 'x.db' AS x" "CREATE TABLE t (a)" "CREATE TEMP TABLE t (a)" "DROP TABLE symbols" \
    "INSERT INTO symbols VALUES (1)" "DELETE FROM symbols" "PRAGMA journal_mode=WAL" "PRAGMA writable_schema=1" "VACUUM INTO 'x.db'" \
    "SELECT load_extension('x')" "SELECT readfile('small.sym')" "SELECT writefile('x', 1)" "BEGIN" "SELECT 1; SELECT 2" \
    "CREATE VIRTUAL TABLE t USING torva('small.sym')" "SELECT * FROM torva('small.sym')" "" "SELECT" 'SELECT "nothing"'; do
    answer 'tvsym: *
status 64' sql small.sym "$statement"
done
ls x* 2>/dev/null && failures=$((failures + 1))
answer 'tvsym: sql needs*
status 64' sql small.sym
answer 'tvsym: none.sym: *
status 2' sql none.sym 'SELECT 1'

# To a database; failures leave the old file.
sql odd.sym --output result.db 'SELECT *, 1 AS symbol FROM symbols'
answer 'ok
18446744073709551615|text
9007199254740993|integer
status 0' sqlite3 result.db 'PRAGMA integrity_check' 'SELECT "big""; DROP TABLE x; --", typeof("big""; DROP TABLE x; --") FROM result LIMIT 2'
cp result.db kept.db
answer 'tvsym: SQL: integer overflow
status 2' sql odd.sym --output result.db 'SELECT sum(9223372036854775807) FROM symbols'
answer 'tvsym: result.db: *
status 2' bash -c "ulimit -f 1; exec '$tvsym' sql sample.sym --output result.db 'SELECT * FROM symbols'"
cmp result.db kept.db || failures=$((failures + 1))
answer 'tvsym: ./small.sym: is the file that is read, and would be lost
status 64' sql small.sym --output ./small.sym 'SELECT 1'
ls ./*.part 2>/dev/null && failures=$((failures + 1))
[ -e /dev/full ] && answer 'tvsym: standard output: *
status 2' bash -c "exec '$tvsym' sql small.sym 'SELECT 1' >/dev/full"
answer 'n
2
status 0' bash -c "exec '$tvsym' sql - 'SELECT count(*) n FROM symbols' <small.sym"
answer 'status 0' bash -c "set -o pipefail; '$tvsym' sql sample.sym 'SELECT a.* FROM symbol_fields a, symbol_fields b' | head -n 0"

# The same expressions select what other commands print.
answer 'symbol  seven
B       two
A       one
status 0' "$tvsym" symbols small.sym --columns 'symbol, field_1 AS seven' --order-by 'symbol DESC'
answer '{"symbol":"B","fields":[{"id":1,"tag":7,"value":"two"}*
status 0' "$tvsym" symbols small.sym --order-by 'symbol DESC' --limit 1 --json --fields 1
answer 'B
*
status 0' "$tvsym" get small.sym --where 'field_3 = 8'
answer '{"symbol":"A","field_2":5}
status 0' "$tvsym" get small.sym A --prefix --columns 'symbol, field_2' --json
printf 'B\r\nnobody\n' >list.txt
answer 'B
*no symbol is called nobody
status 1' "$tvsym" get small.sym --from list.txt
answer 'A
*
status 0' "$tvsym" get small.sym --search ONE
answer 'A
*
status 0' "$tvsym" get small.sym --search ONE --order-by symbol
answer '*no symbol meets the conditions
status 1' "$tvsym" get small.sym --search nothing
answer '*"symbols":1,"fields":*' "$tvsym" stats small.sym --json --where "symbol = 'B'"
answer '{"section":"symbols","symbol":"B"*
status 0' "$tvsym" dump small.sym --section 2 --format ndjson --where "symbol = 'B'"
"$tvsym" export -q small.sym where.db --where "symbol = 'B'"
answer 'B
status 0' sqlite3 where.db 'SELECT symbol FROM symbols'
for condition in 'symbol_no = 1) -- ' '1; DROP TABLE symbols' 'nothing = 1' "load_extension('x')"; do
    answer 'tvsym: SQL: *
status 64' "$tvsym" get small.sym --where "$condition"
done

# The extension, in the shell and in Python: damage is an error at its place.
# A sanitizer's runtime must be loaded before the program that loads the extension, and the library whose exceptions
# it intercepts along with it.
runtime=$(ldd "$extension.so" | awk '/libasan/ { runtime = $3 } /libstdc/ { language = $3 }
    END { if (runtime) print runtime, language }')
host() { LD_PRELOAD=$runtime ASAN_OPTIONS=detect_leaks=0 "$@"; }
shell() { host sqlite3 :memory: ".load $extension" "$@"; }
answer 'A|5|7|d
B||8|d
two
status 0' shell "CREATE VIRTUAL TABLE s USING torva('small.sym')" 'SELECT symbol, field_2, field_3, field_9 FROM s' \
    "SELECT field_1 FROM s WHERE symbol = 'B'"
answer '*nothing: a symbol file has no such table
status 1' shell "CREATE VIRTUAL TABLE s USING torva('small.sym', table=nothing)"
answer '*odd.json: is not a symbol file*
status 1' shell "CREATE VIRTUAL TABLE s USING torva('odd.json')"
answer '*cut.sym: section 2 (symbols)*A
B
status 11' shell "CREATE VIRTUAL TABLE s USING torva('cut.sym', dictionary='')" 'SELECT symbol FROM s'
answer '2
status 0' shell "CREATE VIRTUAL TABLE s USING torva('cut.sym', damaged=skip)" 'SELECT count(*) FROM s'
# Debian's Python loads extensions; others may have been built without.
python=/usr/bin/python3
[ -x $python ] || python=python3
if "$python" -c "import sqlite3; sqlite3.connect(':memory:').enable_load_extension(True)" 2>/dev/null; then
    answer "('7', 0.1)
cut.sym: section 2 (symbols)*
status 0" host "$python" -c "
import sqlite3
c = sqlite3.connect(':memory:')
c.enable_load_extension(True)
c.load_extension('$extension')
c.execute(\"CREATE VIRTUAL TABLE s USING torva('odd.sym')\")
print(c.execute('SELECT symbol, ratio FROM s WHERE symbol_no = 2').fetchone())
c.execute(\"CREATE VIRTUAL TABLE d USING torva('cut.sym')\")
try:
    c.execute('SELECT count(*) FROM d').fetchall()
except sqlite3.DatabaseError as error:
    print(error)
"
else
    echo "not tried: the extension in Python, whose sqlite3 cannot load extensions here"
fi

finish
