#include "apps/cvhost/map/Options.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "apps/cvhost/map/MapCommand.h"

namespace cvhost::map {
namespace {

constexpr const char* footer =
    "MAP is the name of a map in $XDG_CONFIG_HOME/cvhost/maps or in the package, or a file: then it has a slash or ends "
    "in .toml.\n"
    "KEY is a key of the desk: the character on it, or play, stop, reverse, fast-forward, rewind, mark-in, mark-out.\n"
    "docs/maps.md describes how a map is written.\n"
    "\n"
    "Exit status: 0 done; 1 the map is wrong, or there is none; 2 the command line is wrong.\n"
    "\n"
    "Examples:\n"
    "  cvhost map list\n"
    "  cvhost map check mine.toml\n"
    "  cvhost map try jkl play";

}  // namespace

common::Subcommand addMap(CLI::App& app) {
    using Command = MapOptions::Command;
    const auto options = std::make_shared<MapOptions>();
    CLI::App& map = *app.add_subcommand("map", "Show, check and try the maps by which the console works other programs.");
    map.footer(footer);
    map.require_subcommand(1);
    const auto add = [&](const char* name, const char* description, Command command) {
        CLI::App* sub = map.add_subcommand(name, description);
        sub->callback([options, command] { options->command = command; });
        if (command != Command::list) {
            sub->add_option("MAP", options->map, "The map's name or file")->required()->type_name("");
        }
        return sub;
    };
    add("list", "List all maps.", Command::list);
    add("show", "Show what a map says.", Command::show);
    add("check", "Check a map, and report what is wrong with line and column.", Command::check);
    add("try", "Show what a key would send, and send nothing.", Command::tryKey)
        ->add_option("KEY", options->key, "The desk's key")
        ->required()
        ->type_name("");
    return {&map, [options] { return runMapCommand(*options); }};
}

}  // namespace cvhost::map
