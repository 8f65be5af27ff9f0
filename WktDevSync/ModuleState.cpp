#include "WktDevSync/ModuleState.h"

DWORD partnerNumber = 0;
CEGUID volumeGuid = {};
WCHAR volumeName[kVolumeNameUnits] = {};
BYTE favoritesChanged = 0;
BYTE dailyJobsChanged = 0;
BYTE typesChanged = 0;
