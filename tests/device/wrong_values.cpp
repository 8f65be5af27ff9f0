// One offence of each kind, for check_values.py: never compiled into anything.
#include "platform/SyncProvider.h"

extern "C" {
void CEAPI WrongImport(double value);
FILETIME CEAPI WrongStructure();
int64_t CEAPI WrongExport(const uint64_t* value) {
  return static_cast<int64_t>(*value);
}
INT CEAPI Variadic(const WCHAR* format, ...);
}

class WrongHandler : public IReplObjHandler {
  virtual HRESULT CEAPI WrongMethod(uint64_t value) = 0;
};

template <class Number>
INT PassOn(Number number) {
  return Variadic(u"%d", number);
}

INT WrongArguments(float value, uint64_t* wide, FILETIME* time) {
  return PassOn(1) + PassOn(u"right") + Variadic(u"%f", static_cast<double>(value)) +
         Variadic(u"%I64d", *wide) + PassOn(*time);
}
