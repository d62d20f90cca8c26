#!/usr/bin/env bash
# Who includes whom: prints every include that leads to a layer that its file may not use, and fails if there is one.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# A layer, and the layers that it may include besides itself. The layer of a file is the longest that leads its path.
readonly LAYERS='
include
format              include
library/platform    format
library/core        include format library/platform
library/stream      include format library/platform library/core
library/sections    include format library/platform library/core
library/file        include format library/platform library/core library/stream library/sections
library/values      include
library/exports     include format library/platform library/core library/file
text                include format
symwrite            include format text
reference           include format library/platform symwrite
tables              include format library/platform library/core library/stream library/sections library/file text symwrite
tools/tvsym         include format text symwrite tables tools/sqlite
tools/sqlite        include format text tables
python              include format text tables
viewer              include format text tables
examples            include
docs                format symwrite
tests               *
bench               *
fuzz                *
'

# Includes as lines "FILE:LINE: PATH". A path without a directory names a header of include/ or of the file's own.
includes() {
    git ls-files --cached --others --exclude-standard '*.c' '*.h' '*.cpp' '*.hpp' |
        xargs grep -nE '^ *# *include *"' | sed -E 's/^([^:]*:[0-9]+:)[^"]*"([^"]*)".*/\1 \2/'
}

includes | awk -v layers="$LAYERS" '
    BEGIN {
        rows = split(layers, row, "\n")
        for (i = 1; i <= rows; ++i) {
            names = split(row[i], name, " ")
            for (j = 1; j <= names; ++j) may[name[1], name[j]] = 1
            if (names > 0) known[name[1]] = 1
        }
    }
    function layer(path) {
        while (!(path in known)) if (!sub("/[^/]*$", "", path)) return ""
        return path
    }
    {
        file = substr($1, 1, index($1, ":") - 1)
        from = layer(file)
        if (system("test -e include/" $2) == 0) to = "include"
        else to = $2 ~ "/" ? layer($2) : from
        if (from == "") { print $1 " is in no layer"; ++bad }
        else if (to == "" || !((from, to) in may || (from, "*") in may)) {
            print $1 " " from " may not include " $2
            ++bad
        }
    }
    END { exit bad > 0 }'
