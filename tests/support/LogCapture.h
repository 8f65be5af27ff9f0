#pragma once

#include <string>
#include <vector>

#include "tests/support/DeskDevice.h"

// The log as the test sees it: a capturing library takes the place of "WktDevLog.dll" in the
// installation folder. Lines are "level text", ">name" for an enter line, "<name" for a leave line.
namespace wkt::test {

using LogLines = std::vector<std::string>;

class LogCapture {
 public:
  enum class Exports { All, WriteOnly, EnterAndLeaveOnly };

  // Puts the library onto the device; who logs loads it from there.
  explicit LogCapture(DeskDevice& device, Exports exports = Exports::All);
  // The lines since the last call.
  LogLines Take();
  // "module path" of each WktLogInit.
  LogLines InitCalls();

 private:
  LogLines Read(bool initCalls);
};

// What differs from run to run gets a name in the order of its appearance, so that two logs can be
// compared: the word behind
//   "this = ", "Bytes = ", "pFindObjectInfo = "             A1, A2, ... (addresses)
//   "handle = "                                             H1, H2, ... (handles)
//   "CEOID) = ", "CEOID = ", "ceOid = ", "OID = ", "Got ", "Expected "   O1, O2, ... (objects)
// and every identifier made on the device, "CE-1-2-3-4" (G1, G2, ...). The same word of one kind
// keeps its name; 0, -1 and 4294967295 stay, they say that there is nothing. "Got " and "Expected "
// count only in lines about a wrong database.
LogLines FilterLog(const LogLines& lines);

// Every address as the one word "A": where objects lie and whether one takes another's place is the
// allocator's affair.
LogLines WithoutAddresses(const LogLines& lines);

// Both sides go through the filter, so an expectation may say "this = A1" or any other word.
void ExpectLog(const LogLines& actual, const LogLines& expected);
void ExpectLog(LogCapture& capture, const LogLines& expected);

}  // namespace wkt::test
