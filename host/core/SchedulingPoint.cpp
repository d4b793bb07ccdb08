#include "host/core/SchedulingPoint.h"

#include <atomic>

namespace cvhost {
namespace {
constinit std::atomic<SchedulingHook> s_hook{nullptr};
}  // namespace

void setSchedulingHook(SchedulingHook hook) noexcept { s_hook.store(hook, std::memory_order_release); }

void schedulingPoint(const char* function, std::string_view key) {
    if (const SchedulingHook hook = s_hook.load(std::memory_order_acquire); hook != nullptr) hook(function, key);
}

}  // namespace cvhost
