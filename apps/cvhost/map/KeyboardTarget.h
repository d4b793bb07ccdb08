// The target "keys": a virtual keyboard with a scroll wheel, which every application sees. The kernel removes it, and
// releases its keys, when this program ends in whatever way.
//
// Threads: one at a time.
#pragma once

#include <memory>
#include <span>

#include "apps/cvhost/map/KeyStrokes.h"
#include "apps/cvhost/map/Target.h"
#include "host/core/FileDescriptor.h"

struct libevdev_uinput;

namespace cvhost::map {

class KeyboardTarget final : public Target {
public:
    static constexpr const char* device = "/dev/uinput";
    static constexpr const char* name = "Corvane Console Keys";

    /// Throws TargetFailure.
    KeyboardTarget();

    void take(const Action& action) override { m_strokes.take(action); }

private:
    struct Destroy {
        void operator()(libevdev_uinput* keyboard) const noexcept;
    };

    void write(std::span<const InputEvent> together);

    FileDescriptor m_uinput;
    std::unique_ptr<libevdev_uinput, Destroy> m_keyboard;
    KeyStrokes m_strokes;
};

}  // namespace cvhost::map
