#include "Phones.h"

namespace benchphones {

std::unique_ptr<ServiceHarness> start(const std::string& region, bool ringCentral)
{
    auto phone = std::make_unique<ServiceHarness>();
    if (region == "US") {
        phone->setUsCanonicalSettings();
        phone->setCanonicalSetting("nationalPrefix", "1");
    } else {
        phone->setGermanCanonicalSettings();
    }
    phone->setCanonicalSetting("dialExternalForm", "0");
    phone->setCanonicalSetting("dialNeedsAccessCode", "1");
    // The server type is looked up under the FAC prefix key of the queried item.
    if (ringCentral) phone->store.setItem("server-type", "fac-prefix-numbers", "7");
    phone->start();
    return phone;
}

}  // namespace benchphones
