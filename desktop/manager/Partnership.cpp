#include "desktop/manager/Partnership.h"

#include "desktop/manager/RegistryText.h"

namespace wkt {

namespace {

std::u16string PartnerKey(UINT partnerBit) {
  return std::u16string(kPartnersKey) + (partnerBit == 2 ? u"\\P2" : u"\\P1");
}

}  // namespace

Partnership ReadPartnership(UINT partnerBit) {
  const std::u16string key = PartnerKey(partnerBit);
  return {ReadRegistryText(kPartnersKey, u"DeviceId").value_or(u""),
          ReadRegistryText(key, u"PartnerId").value_or(u""),
          ReadRegistryText(key, u"Token").value_or(u"")};
}

bool WritePartnership(UINT partnerBit, const Partnership& partnership) {
  const std::u16string key = PartnerKey(partnerBit);
  // The token last: whoever finds it finds the rest.
  return WriteRegistryText(kPartnersKey, u"DeviceId", partnership.deviceId) &&
         WriteRegistryText(key, u"PartnerId", partnership.partnerId) &&
         WriteRegistryText(key, u"Token", partnership.token);
}

}  // namespace wkt
