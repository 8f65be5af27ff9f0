// The capturing log library of the tests as a part of this program: a device library cannot call
// what a shared object of Linux offers here, since the program has no dynamic loader.
#pragma once

namespace wkt::test {

void UseCaptureLibrary();

}  // namespace wkt::test
