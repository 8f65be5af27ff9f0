// A device library that cannot be loaded: nobody has the function that it calls.
extern "C" int FunctionThatNobodyHas();

extern "C" __attribute__((visibility("default"))) int ProbeCallsNobody() {
  return FunctionThatNobodyHas();
}
