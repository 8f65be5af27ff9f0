#include "tests/support/LeakCheck.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace wkt::test {

void CheckForLeaks() {
#ifdef __SANITIZE_ADDRESS__
  __lsan_do_leak_check();
#endif
}

}  // namespace wkt::test
