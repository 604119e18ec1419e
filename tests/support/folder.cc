// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
#include "tests/support/folder.h"

#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace test {

Folder::Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "mac_mng-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no scratch folder");
    root_ = name;
}

Folder::~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
}

void Folder::write(const std::string& name, const std::string& content) const {
    std::ofstream(path(name), std::ios::binary) << content;
}

std::string Folder::read(const std::string& name) const {
    std::ostringstream content;
    content << std::ifstream(path(name), std::ios::binary).rdbuf();
    return content.str();
}

Outcome run(const Folder& folder, const std::string& command) {
    const std::string line =
        "cd '" + folder.path("").string() + "' && { " + command + "; } >.out 2>.err </dev/null";
    const int status = std::system(line.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, folder.read(".out"), folder.read(".err")};
}

}  // namespace test
