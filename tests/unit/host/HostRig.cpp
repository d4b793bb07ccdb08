#include "tests/unit/host/HostRig.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

Folder::Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "host_test.XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    m_path = name;
}

Folder::~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

void Folder::write(std::string_view name, std::string_view text) const {
    std::filesystem::create_directories((m_path / name).parent_path());
    std::ofstream file(m_path / name, std::ios::binary);
    file << text;
    if (!file.flush()) throw std::runtime_error("cannot write " + path(name));
}

std::optional<std::string> Folder::read(std::string_view name) const {
    std::ifstream file(m_path / name, std::ios::binary);
    if (!file) return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(file), {});
}

Variable::Variable(const char* name, const char* value) : m_name(name) {
    if (const char* before = std::getenv(name)) m_before = before;
    value == nullptr ? ::unsetenv(name) : ::setenv(name, value, 1);
}

Variable::~Variable() { m_before ? ::setenv(m_name, m_before->c_str(), 1) : ::unsetenv(m_name); }
