// A plug-in that is nothing: what the system itself needs to load one and call its factory.
#include "host/api/Plugin.h"

extern "C" bool cvPluginInstance(CvPluginBase** out) {
    static CvDeviceDriverBase nothing("0", "Nothing");
    *out = &nothing;
    return false;
}
