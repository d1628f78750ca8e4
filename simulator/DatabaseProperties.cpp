// What an administrator has set for a database: quota and options.
#include <algorithm>
#include <cstdint>

#include "Databases.h"
#include "Export.h"

using namespace simulator;

namespace {

// Quotas count in these.
constexpr std::uint64_t QuotaUnit = 1024;
constexpr std::uint64_t LargestDatabase = std::uint64_t{64} << 30;

DWORD inQuotaUnits(std::uint64_t bytes) {
  return static_cast<DWORD>(std::min<std::uint64_t>((bytes + QuotaUnit - 1) / QuotaUnit, MAXDWORD));
}

}  // namespace

SIM_EXPORT STATUS NSFDbQuotaGethDB(DBHANDLE hDB, DBQUOTAINFOEXT* QuotaInfo) {
  return statusOf([&] {
    const StoreLease store = requireStore(hDB);
    if (!QuotaInfo) throw StatusError(ERR_BAD_PARAM, "no quota information");
    DBQUOTAINFOEXT quota = store->properties().quota;
    const SpaceUsage space = store->space();
    quota.CurrentDbSize = inQuotaUnits(space.used + space.free);
    quota.CurrentUsage = inQuotaUnits(space.used);
    quota.MaxDbSize = inQuotaUnits(LargestDatabase);
    // Every method compares the size of the file here.
    quota.CurrentSizeUsed = quota.CurrentDbSize;
    *QuotaInfo = quota;
  });
}

SIM_EXPORT STATUS NSFDbGetOptions(DBHANDLE hDB, DWORD* retDbOptions) {
  return statusOf([&] {
    const std::optional<DWORD> options = requireStore(hDB)->properties().options;
    if (!options) throw StatusError(ERR_SPECIAL_ID, "no options stored");
    if (retDbOptions) *retDbOptions = *options;
  });
}
