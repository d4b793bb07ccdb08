// A stand-in for /dev/uinput, preloaded into cvhost where the kernel has none: what is written to the virtual keyboard is
// replayed through XTEST, as the X server would hand on what comes from the kernel. Keys that the device does not have, and
// keys that are so already, are left out, as the kernel does; the keys that are down come up when the device goes.
//
// Threads: the target's, one at a time.
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <libevdev/libevdev-uinput.h>
#include <libevdev/libevdev.h>

#include <bitset>
#include <cerrno>
#include <cstdarg>
#include <cstring>

struct libevdev_uinput {
    Display* display;
    std::bitset<KEY_CNT> keys;
    std::bitset<KEY_CNT> down;
};

namespace {

constexpr unsigned evdevOffset = 8;  ///< X's key codes begin there

void replay(libevdev_uinput& keyboard, unsigned key, bool down) {
    if (key >= KEY_CNT || !keyboard.keys.test(key) || keyboard.down.test(key) == down) return;
    keyboard.down.set(key, down);
    ::XTestFakeKeyEvent(keyboard.display, key + evdevOffset, down ? True : False, CurrentTime);
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    using Open = int (*)(const char*, int, ...);
    static const auto next = reinterpret_cast<Open>(::dlsym(RTLD_NEXT, "open"));
    return next(std::strcmp(path, "/dev/uinput") == 0 ? "/dev/null" : path, flags, mode);
}

int libevdev_uinput_create_from_device(const libevdev* device, int, libevdev_uinput** keyboard) {
    Display* display = ::XOpenDisplay(nullptr);
    if (display == nullptr) return -ENODEV;
    *keyboard = new libevdev_uinput{display, {}, {}};
    for (unsigned key = 0; key < KEY_CNT; ++key)
        (*keyboard)->keys.set(key, ::libevdev_has_event_code(device, EV_KEY, key) == 1);
    return 0;
}

int libevdev_uinput_write_event(const libevdev_uinput* keyboard, unsigned type, unsigned code, int value) {
    if (type == EV_KEY) {
        replay(*const_cast<libevdev_uinput*>(keyboard), code, value != 0);
    } else if (type == EV_SYN) {
        ::XFlush(keyboard->display);
    } else {
        return -ENOSYS;  // the maps that are tried here do not scroll
    }
    return 0;
}

void libevdev_uinput_destroy(libevdev_uinput* keyboard) {
    for (unsigned key = 0; key < KEY_CNT; ++key) replay(*keyboard, key, false);
    ::XCloseDisplay(keyboard->display);
    delete keyboard;
}

}  // extern "C"
