// Whether the counts from which places in a sort order are told are those of its keys.
#pragma once

#include <sqlite3.h>

#include <string>

#include "host/coredll/StoreCountChanges.h"
#include "platform/Database.h"

namespace wkt::control {

// What is wrong with an order's counts in the tables of a database; empty when nothing is.
// `countColumn` is the one of block_N, `changes` are those that wait in the catalogue.
std::string CheckCounts(sqlite3* connection, CEOID database, uint32_t order,
                        const std::string& countColumn, const host::StoreCountChanges& changes);

}  // namespace wkt::control
