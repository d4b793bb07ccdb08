#include "apps/cvhost/map/KeyboardTarget.h"

#include <fcntl.h>
#include <libevdev/libevdev-uinput.h>
#include <libevdev/libevdev.h>

#include <cerrno>
#include <initializer_list>
#include <new>
#include <string>
#include <system_error>

#include "apps/cvhost/map/KeyNames.h"

namespace cvhost::map {
namespace {

/// The device is nobody else's: no vendor has the number 0.
constexpr int vendor = 0;
constexpr int product = 1;

std::string reasonOf(int error) { return std::generic_category().message(error); }

std::string remedyFor(int error) {
    switch (error) {
        case EACCES:
        case EPERM:
            return "; \"cvhost doctor\" says how to be allowed to";
        case ENOENT:
        case ENODEV:
        case ENXIO:
            return "; load the kernel's module with \"sudo modprobe uinput\"";
        default:
            return "";
    }
}

FileDescriptor openUinput() {
    FileDescriptor file(::open(KeyboardTarget::device, O_RDWR | O_CLOEXEC));
    if (file.get() >= 0) return file;
    const int error = errno;
    throw TargetFailure(std::string("there is no virtual keyboard, since ") + KeyboardTarget::device +
                        " cannot be opened: " + reasonOf(error) + remedyFor(error));
}

struct Free {
    void operator()(libevdev* description) const noexcept { ::libevdev_free(description); }
};

libevdev_uinput* makeKeyboard(int uinput) {
    const std::unique_ptr<libevdev, Free> description(::libevdev_new());
    if (!description) throw std::bad_alloc();
    ::libevdev_set_name(description.get(), KeyboardTarget::name);
    ::libevdev_set_id_bustype(description.get(), BUS_VIRTUAL);
    ::libevdev_set_id_vendor(description.get(), vendor);
    ::libevdev_set_id_product(description.get(), product);
    for (const KeyCode key : keyboardCodes()) ::libevdev_enable_event_code(description.get(), EV_KEY, key, nullptr);
    for (const unsigned wheel : std::initializer_list<unsigned>{REL_WHEEL, REL_WHEEL_HI_RES, REL_HWHEEL, REL_HWHEEL_HI_RES})
        ::libevdev_enable_event_code(description.get(), EV_REL, wheel, nullptr);
    libevdev_uinput* keyboard = nullptr;
    const int error = ::libevdev_uinput_create_from_device(description.get(), uinput, &keyboard);
    if (error != 0) throw TargetFailure("the kernel makes no virtual keyboard: " + reasonOf(-error));
    return keyboard;
}

}  // namespace

void KeyboardTarget::Destroy::operator()(libevdev_uinput* keyboard) const noexcept { ::libevdev_uinput_destroy(keyboard); }

KeyboardTarget::KeyboardTarget()
    : m_uinput(openUinput()),
      m_keyboard(makeKeyboard(m_uinput.get())),
      m_strokes([this](std::span<const InputEvent> together) { write(together); }) {}

void KeyboardTarget::write(std::span<const InputEvent> together) {
    int error = 0;
    for (const InputEvent& event : together) {
        if (error == 0) error = ::libevdev_uinput_write_event(m_keyboard.get(), event.type, event.code, event.value);
    }
    if (error == 0) error = ::libevdev_uinput_write_event(m_keyboard.get(), EV_SYN, SYN_REPORT, 0);
    if (error != 0) throw TargetFailure("the virtual keyboard has failed: " + reasonOf(-error));
}

}  // namespace cvhost::map
