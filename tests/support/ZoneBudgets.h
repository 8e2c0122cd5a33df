// The budgets of both heaps, given back when the scope ends, so that a test
// can leave a heap nearly full without starving the tests after it.
#pragma once

#include <cstdint>

#include "MacMemory.h"

namespace tessel::testing {

class ZoneBudgets {
 public:
  ZoneBudgets()
      : application_(platform::memory::zone_budget(ApplicZone())),
        temporary_(platform::memory::zone_budget(platform::memory::temporary_zone())) {}
  ~ZoneBudgets() {
    platform::memory::set_zone_budget(ApplicZone(), application_);
    platform::memory::set_zone_budget(platform::memory::temporary_zone(), temporary_);
  }
  ZoneBudgets(const ZoneBudgets&) = delete;
  ZoneBudgets& operator=(const ZoneBudgets&) = delete;

  // Free bytes beyond what each heap already holds.
  void leave_free(std::int64_t application, std::int64_t temporary = 0) {
    namespace mem = platform::memory;
    mem::set_zone_budget(ApplicZone(), mem::zone_used(ApplicZone()) + application);
    mem::set_zone_budget(mem::temporary_zone(), mem::zone_used(mem::temporary_zone()) + temporary);
  }

 private:
  std::int64_t application_;
  std::int64_t temporary_;
};

}  // namespace tessel::testing
