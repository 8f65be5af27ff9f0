#pragma once

#include <string>

namespace wkt::test {

// A desktop partner that has one job of its own and the device in use synchronise twice, without
// faults. Empty when both then have the same records and the second run found nothing to do; else
// what is different.
[[nodiscard]] std::string Meet(const std::string& partnerFolder);

}  // namespace wkt::test
