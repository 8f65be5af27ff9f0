// How the desktop's code says that something cannot go on: one exception type, caught by the
// command. Unlike the provider, nothing here crosses an interface that cannot carry exceptions,
// and a transaction that is left by one rolls back by itself.
#pragma once

#include <stdexcept>
#include <string>

namespace wkt {

// What the command returns to its caller; the values are part of its interface.
enum class ExitCode {
  Done = 0,           // all done
  Left = 1,           // done, with conflicts or skipped records to look at
  Usage = 2,          // wrong arguments or an input file that cannot be understood
  RecordsFailed = 3,  // some records failed, the others are done
  Failed = 4,         // nothing was changed
  Refused = 5,        // a guard refused; nothing was changed
};

class Failure : public std::runtime_error {
 public:
  // `text` says what was wrong and what to do about it.
  explicit Failure(const std::string& text, ExitCode exitCode = ExitCode::Failed)
      : std::runtime_error(text), code(exitCode) {}

  const ExitCode code;
};

}  // namespace wkt
