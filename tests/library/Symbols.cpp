#include "tests/library/Symbols.h"

#include <cxxabi.h>
#include <stdlib.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace library {

void forEachLineOf(const std::string& command, const std::function<void(std::string_view line)>& take) {
    FILE* pipe = ::popen(("LC_ALL=C " + command).c_str(), "r");  // not translated
    if (pipe == nullptr) throw std::runtime_error("cannot run: " + command);
    char* line = nullptr;
    std::size_t capacity = 0;
    std::size_t lines = 0;
    for (ssize_t length = 0; (length = ::getline(&line, &capacity, pipe)) > 0; ++lines) {
        take(std::string_view(line, static_cast<std::size_t>(line[length - 1] == '\n' ? length - 1 : length)));
    }
    std::free(line);
    if (::pclose(pipe) != 0 || lines == 0) throw std::runtime_error("failed: " + command);
}

const std::vector<Symbol>& readSymbols(const std::string& library, SymbolTable table) {
    static std::map<std::pair<std::string, SymbolTable>, std::vector<Symbol>> read;
    std::vector<Symbol>& symbols = read[{library, table}];
    if (!symbols.empty()) return symbols;
    forEachLineOf("nm -P " + std::string(table == SymbolTable::dynamic ? "-D " : "") + "'" + library + "'",
                  [&symbols](std::string_view line) {
                      Symbol symbol{};
                      std::istringstream(std::string(line)) >> symbol.name >> symbol.type >> std::hex >> symbol.address >>
                          symbol.size;
                      symbol.name.resize(std::min(symbol.name.find('@'), symbol.name.size()));
                      symbols.push_back(std::move(symbol));
                  });
    return symbols;
}

std::string readable(const std::string& name) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> text(abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status),
                                                           &std::free);
    if (status != 0) return name;
    const std::string_view kind = name.ends_with("D0Ev") ? " [deleting]" : name.ends_with("D1Ev") ? " [complete]" : "";
    return std::string(text.get()).append(kind);
}

}  // namespace library
