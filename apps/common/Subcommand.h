// One of a program's subcommands, as the room that does its work adds it to the command line.
//
// Threads: plain values.
#pragma once

#include <functional>

namespace CLI {
class App;
class Option;
class Validator;
}  // namespace CLI

namespace common {

struct Subcommand {
    const CLI::App* app = nullptr;  ///< where its options are
    std::function<int()> run;       ///< does what the command line has asked for; the program's exit status
};

}  // namespace common
