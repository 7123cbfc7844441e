#include "HardwareVersion.h"

#include <atomic>

namespace {
std::atomic<unsigned int> g_subPlatformVariant{0};
}

unsigned int HardwareVersion::getHWSubPlatformVariant() { return g_subPlatformVariant.load(); }

void HardwareVersion::setHWSubPlatformVariant(unsigned int variant) { g_subPlatformVariant.store(variant); }
