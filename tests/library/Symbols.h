// What a library file says of itself, through the system's binary tools.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace library {

/// One entry of a symbol table.
struct Symbol {
    std::string name;       ///< as in the file, without a version
    char type;              ///< nm's letter: lower case for local, U and w for undefined
    std::uint64_t address;  ///< from the load address; 0 when undefined
    std::uint64_t size;     ///< in bytes
};

enum class SymbolTable { full, dynamic };
/// All entries of `library`'s table, undefined ones among them. Read with nm, once. [one thread]
const std::vector<Symbol>& readSymbols(const std::string& library, SymbolTable table);

/// The name as a programmer writes it. Destructors are marked "[complete]" and "[deleting]", which the language calls by the
/// same name.
std::string readable(const std::string& name);

/// Gives each line that `command` writes to `take`. Throws when the command fails or writes nothing.
void forEachLineOf(const std::string& command, const std::function<void(std::string_view line)>& take);

}  // namespace library
