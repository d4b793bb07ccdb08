// bench_key LINE MAILBOX, bench_key_plain TRANSPORT LINE MAILBOX: the host and the plug-in on a line, as a contender of its
// own. It notes once in the mailbox, a file that it inherits, when the console has been brought up, and then each key that
// the host's handler is called for. It ends when it is killed.
//
// bench_key has the host's serial library; in bench_key_plain bench/PlainSerial.cpp takes its place.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>

#include "bench/Driver.h"
#include "bench/Mailbox.h"
#include "host/core/KeyQueue.h"

int main(int count, char** arguments) {
    if (count != 3 && count != 4) {
        std::fprintf(stderr, "usage: bench_key LINE MAILBOX | bench_key_plain TRANSPORT LINE MAILBOX\n");
        return 2;
    }
    try {
        bench::Mailbox& mailbox = bench::mailboxIn(std::atoi(arguments[count - 1]));
        bench::Handler handler([&mailbox](int) {
            mailbox.note();
            if (mailbox.count % 64 == 0) cvhost::keyQueue().clear();
        });
        const std::string line = arguments[count - 2];
        bench::Driver driver(count == 4 ? std::string(arguments[1]) + ':' + line : line);
        driver.start();
        for (int code = 0; code < ConsoleHandlerTable::codes; ++code) driver.handle(code, handler);
        mailbox.note();
        for (;;) ::pause();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", arguments[0], error.what());
        return 1;
    }
}
