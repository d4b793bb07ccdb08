// Loaded before all other libraries: a name server for a program under test, which may be silent. It knows "studio".
#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace {

/// Waits for the next word in RESOLVER_PIPE: 'y', this machine. False: another word.
bool isFound() {
    char word = 0;
    const int file = ::open(std::getenv("RESOLVER_PIPE"), O_RDONLY | O_CLOEXEC);
    const bool read = ::read(file, &word, 1) == 1;
    ::close(file);
    return read && word == 'y';
}

}  // namespace

extern "C" int getaddrinfo(const char* host, const char* service, const addrinfo* wanted, addrinfo** found) {
    static const auto resolve = reinterpret_cast<decltype(&getaddrinfo)>(::dlsym(RTLD_NEXT, "getaddrinfo"));
    if ((wanted->ai_flags & AI_NUMERICHOST) != 0 || std::strcmp(host, "studio") != 0)
        return resolve(host, service, wanted, found);
    return isFound() ? resolve("127.0.0.1", service, wanted, found) : EAI_NONAME;
}
