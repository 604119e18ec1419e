// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// A scratch folder that goes away with its test.
#ifndef TESTS_SUPPORT_FOLDER_H
#define TESTS_SUPPORT_FOLDER_H

#include <filesystem>
#include <string>

namespace test {

class Folder {
public:
    Folder();
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::filesystem::path path(const std::string& name) const { return root_ / name; }
    void write(const std::string& name, const std::string& content) const;
    std::string read(const std::string& name) const;

private:
    std::filesystem::path root_;
};

// What a shell command did.
struct Outcome {
    int status;
    std::string out;
    std::string err;
};

// Runs a command line with /bin/sh in a folder.
Outcome run(const Folder& folder, const std::string& command);

}  // namespace test

#endif
