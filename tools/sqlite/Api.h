// SQLite's functions: of the library that a program is linked with or, in the extension, of the program that
// loads it.
#pragma once

#ifdef TORVA_SQLITE_EXTENSION
#include <sqlite3ext.h>
SQLITE_EXTENSION_INIT3
#else
#include <sqlite3.h>
#endif
