# What the tests in shell share: source it with TVSYM SOURCE_DIR. They run in a directory of their own.
set -u
tvsym=$(realpath "$1")
source_dir=$(realpath "$2")
samples=$source_dir/samples
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
failures=0

fail() {
    echo "FAILED: $*"
    failures=$((failures + 1))
}

# answer EXPECTED COMMAND...: what the command writes to both streams, and its status, one after the other.
# EXPECTED is a pattern of the whole of it.
answer() {
    local expected=$1 got
    shift
    got=$("$@" 2>&1; echo "status $?")
    # shellcheck disable=SC2053 # it is a pattern
    if [ "$got" != "$expected" ] && [[ $got != $expected ]]; then
        fail "$*
$got
expected:
$expected"
    fi
}

# expect STATUS STDERR COMMAND...: STDERR is a pattern of the whole of it; the output goes to the file stdout.
expect() {
    local status=$1 pattern=$2 got message
    shift 2
    message=$("$@" 2>&1 >stdout)
    got=$?
    # shellcheck disable=SC2053 # it is a pattern
    if [ "$got" != "$status" ] || [[ $message != $pattern ]]; then
        fail "$*: status $got, expected $status; stderr: $message; expected: $pattern"
    fi
}

# Ends a test of what SQLite does where this tvsym was built without it.
needs_sqlite() {
    "$tvsym" sql none.sym 'SELECT 1' >probe 2>&1
    if grep 'built without SQLite' probe >/dev/null; then
        echo "not tried: SQLite, which this tvsym was built without"
        exit 0
    fi
    rm probe
}

same() { cmp "$@" || fail "not the same: $*"; }

finish() {
    [ "$failures" = 0 ] || { echo "$failures failures" && exit 1; }
}
