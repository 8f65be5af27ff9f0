#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/RawDatabase.h"
#include "tests/sync/Script.h"

namespace wkt::test {

// The application's side of a script: it keeps records in the three databases and edits them as the
// application does, which clears the partners' characters of what it edits and, while a
// synchronisation runs, sets "changed during sync". Scripts call records by names.
class Application {
 public:
  // database: "daily", "favorite" or "types".
  std::vector<std::string> Add(const Command& command);
  std::vector<std::string> Edit(const Command& command);
  std::vector<std::string> Remove(const std::string& name);
  // Every record of a database with its name and what matters of it.
  std::vector<std::string> Show(const std::string& database);

  // A record that the provider made gets its name from the script.
  void Name(const std::string& name, const std::string& database, CEOID oid);
  // 999999, which no record has, for an unknown name.
  [[nodiscard]] CEOID Find(const std::string& name) const;
  // "#7" for a record without a name.
  [[nodiscard]] std::string NameOf(CEOID oid) const;
  [[nodiscard]] static CEOID DatabaseOid(const std::string& database);

 private:
  struct Known {
    std::string database;
    CEOID oid;
  };
  std::map<std::string, Known> known;
};

}  // namespace wkt::test
