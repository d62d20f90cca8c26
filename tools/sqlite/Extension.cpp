// torva.so, the module as an extension that any SQLite loads: ".load torva" in the shell.
#include <sqlite3ext.h>

#include "tools/sqlite/Module.h"

SQLITE_EXTENSION_INIT1

extern "C" __attribute__((visibility("default"))) int sqlite3_torva_init(
    sqlite3* connection, char** /*error*/, const sqlite3_api_routines* functions) {
    SQLITE_EXTENSION_INIT2(functions)
    return torva::sql::AddModule(connection, nullptr);
}
