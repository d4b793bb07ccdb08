#include "apps/cvhost/map/Targets.h"

#include <cstdlib>
#include <utility>

#include "apps/cvhost/map/KeyboardTarget.h"
#include "apps/cvhost/map/MpvTarget.h"
#include "apps/cvhost/map/OscTarget.h"

namespace cvhost::map {

std::unique_ptr<Target> makeTarget(const Application& application, MpvDeck* mpv, std::function<void()> changed) {
    switch (application.kind) {
        case TargetKind::keys:
            return std::make_unique<KeyboardTarget>();
        case TargetKind::mpv:
            return std::make_unique<MpvTarget>(*mpv);
        case TargetKind::osc:
            return std::make_unique<OscTarget>(application, std::move(changed));
    }
    return nullptr;
}

std::string socketPath(const Application& application) {
    if (application.socket.starts_with('/')) return application.socket;
    const char* folder = std::getenv("XDG_RUNTIME_DIR");
    if (folder == nullptr || *folder == '\0')
        throw TargetFailure("the map's socket \"" + application.socket +
                            "\" is in $XDG_RUNTIME_DIR, and that is not set; give the map an absolute path");
    return std::string(folder) + '/' + application.socket;
}

}  // namespace cvhost::map
