// SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
// Files read whole, and replaced whole or not at all: full disks, signals, links, rights.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <thread>

#include "platform/host/files.h"
#include "tests/support/folder.h"

namespace {

// What is watched, and made to fail, of the C library's calls in this program.
struct Calls {
    std::vector<std::string> seen;
    std::string failing;
    int error = 0;

    int note(const std::string& call) {
        seen.push_back(call);
        if (call != failing) return 0;
        errno = error;
        return -1;
    }
};
Calls* watched = nullptr;

}  // namespace

// In the place of the C library's.
extern "C" int fsync(int descriptor) {
    struct stat status {};
    if (watched != nullptr && fstat(descriptor, &status) == 0 &&
        watched->note(S_ISDIR(status.st_mode) ? "sync folder" : "sync file") != 0) {
        return -1;
    }
    return static_cast<int>(syscall(SYS_fsync, descriptor));
}

extern "C" int rename(const char* from, const char* to) noexcept {
    if (watched != nullptr && watched->note("rename") != 0) return -1;
    return static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}

namespace {

namespace fs = std::filesystem;

class Files : public ::testing::Test {
protected:
    fs::path at(const std::string& name) const { return folder.path(name); }

    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& entry : fs::directory_iterator(folder.path(""))) {
            found.push_back(entry.path().filename());
        }
        std::sort(found.begin(), found.end());
        return found;
    }

    std::string write_error(const std::string& name, const std::string& content = "new") const {
        try {
            host::replace_file(at(name), content);
        } catch (const host::WriteError& error) {
            return std::string(error.what()).substr(at("").string().size());
        }
        return "written";
    }

    std::string read_error(const fs::path& path, host::Source source = host::Source::kStream,
                           size_t limit = 1000) const {
        try {
            (void)host::read_file(path, source, limit);
        } catch (const host::ReadError& error) {
            EXPECT_EQ(error.what(), path.string() + " cannot be read: " + error.reason());
            return error.reason();
        }
        return "read";
    }

    // Runs something in a child; its exit status, or 1000 and the signal that ended it.
    template <typename Action>
    static int in_child(Action action) {
        const pid_t child = fork();
        if (child == 0) {
            // A shell's background jobs ignore it.
            std::signal(SIGINT, SIG_DFL);
            action();
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return WIFSIGNALED(status) ? 1000 + WTERMSIG(status) : WEXITSTATUS(status);
    }

    test::Folder folder;
};

std::string beside(const std::string& name) { return "." + name + ".mac_mng-new"; }

mode_t mode_of(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status.st_mode & 07777;
}

TEST_F(Files, Replace_ANewFile_HasTheUsualMode) {
    const mode_t before = umask(027);
    EXPECT_EQ(write_error("a"), "written");
    umask(before);
    EXPECT_EQ(folder.read("a"), "new");
    EXPECT_EQ(mode_of(at("a")), 0640u);
    EXPECT_EQ(names(), std::vector<std::string>{"a"});
}

TEST_F(Files, Replace_KeepsModeAndOwner) {
    folder.write("a", "old");
    ASSERT_EQ(chmod(at("a").c_str(), 0600), 0);
    const bool is_root = geteuid() == 0;
    if (is_root) {
        ASSERT_EQ(chown(at("a").c_str(), 1234, 4321), 0);
    }
    EXPECT_EQ(write_error("a"), "written");
    EXPECT_EQ(folder.read("a"), "new");
    EXPECT_EQ(mode_of(at("a")), 0600u);
    struct stat status {};
    ASSERT_EQ(stat(at("a").c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, is_root ? 1234 : geteuid());
    EXPECT_EQ(status.st_gid, is_root ? 4321 : getegid());
}

TEST_F(Files, Replace_FollowsLinks_AlsoToWhatIsNotThere) {
    fs::create_directory(at("real"));
    folder.write("real/a", "old");
    fs::create_symlink("real/a", at("one"));
    fs::create_symlink(at("one"), at("two"));
    EXPECT_EQ(write_error("two"), "written");
    EXPECT_TRUE(fs::is_symlink(at("two")) && fs::is_symlink(at("one")));
    EXPECT_EQ(folder.read("real/a"), "new");
    fs::create_symlink("real/b", at("three"));
    EXPECT_EQ(write_error("three", "b"), "written");
    EXPECT_EQ(folder.read("real/b"), "b");
    fs::create_symlink("loop", at("loop"));
    EXPECT_EQ(write_error("loop"), "loop cannot be written: Too many levels of symbolic links");
    EXPECT_EQ(names(), (std::vector<std::string>{"loop", "one", "real", "three", "two"}));
}

TEST_F(Files, Replace_TheLongestName) {
    const std::string name(255, 'n');
    EXPECT_EQ(write_error(name), "written");
    EXPECT_EQ(folder.read(name), "new");
    EXPECT_EQ(names(), std::vector<std::string>{name});
}

TEST_F(Files, Replace_WhatCannotBe_SaysWhy) {
    fs::create_directory(at("folder"));
    folder.write("file", "old");
    EXPECT_EQ(write_error("folder"), "folder cannot be written: it is a directory");
    EXPECT_EQ(write_error("none/a"),
              "none/a cannot be written: no file can be made in its folder: No such file or "
              "directory");
    EXPECT_EQ(write_error("file/a"), "file/a cannot be written: Not a directory");
    EXPECT_EQ(names(), (std::vector<std::string>{"file", "folder"}));
}

// A limit on the size of files is met as a full disk is.
TEST_F(Files, Replace_OnAFullDisk_LeavesTheOldFileAlone) {
    folder.write("a", "old");
    EXPECT_EQ(in_child([&] {
                  std::signal(SIGXFSZ, SIG_IGN);
                  const rlimit limit = {4096, 4096};
                  setrlimit(RLIMIT_FSIZE, &limit);
                  const std::string large(10000, 'x');
                  const bool refused =
                      write_error("a", large) == "a cannot be written: File too large" &&
                      write_error("b", large) == "b cannot be written: File too large";
                  _exit(refused ? 7 : 0);
              }),
              7);
    EXPECT_EQ(folder.read("a"), "old");
    EXPECT_EQ(names(), std::vector<std::string>{"a"});
}

TEST_F(Files, Replace_IsOnTheDiskBeforeItIsThere_AndItsNameAfter) {
    Calls calls;
    watched = &calls;
    EXPECT_EQ(write_error("a"), "written");
    watched = nullptr;
    EXPECT_EQ(calls.seen, (std::vector<std::string>{"sync file", "rename", "sync folder"}));
}

TEST_F(Files, Replace_OnADiskThatFailsLate_LeavesTheOldFileAlone) {
    folder.write("a", "old");
    const struct {
        const char* failing;
        int error;
        const char* reason;
    } cases[] = {
        {"sync file", ENOSPC, "a cannot be written: No space left on device"},
        {"sync file", EIO, "a cannot be written: Input/output error"},
        {"rename", EACCES, "a cannot be written: Permission denied"},
    };
    for (const auto& one : cases) {
        Calls calls;
        calls.failing = one.failing;
        calls.error = one.error;
        watched = &calls;
        EXPECT_EQ(write_error("a"), one.reason);
        watched = nullptr;
        EXPECT_EQ(folder.read("a"), "old") << one.reason;
        EXPECT_EQ(names(), std::vector<std::string>{"a"}) << one.reason;
    }
    // Then it is there, and may be gone after a power cut.
    Calls calls;
    calls.failing = "sync folder";
    calls.error = EIO;
    watched = &calls;
    EXPECT_EQ(write_error("a"), "a cannot be written: Input/output error");
    watched = nullptr;
    EXPECT_EQ(names(), std::vector<std::string>{"a"});
}

TEST_F(Files, Replace_ADeviceOrAFifo_IsWrittenTo) {
    EXPECT_THROW(host::replace_file("/dev/full", "new"), host::WriteError);
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
    ASSERT_EQ(mkfifo(at("fifo").c_str(), 0600), 0);
    const int reader = open(at("fifo").c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    EXPECT_EQ(write_error("fifo"), "written");
    char text[8] = {};
    EXPECT_EQ(read(reader, text, sizeof(text)), 3);
    close(reader);
    EXPECT_TRUE(fs::is_fifo(at("fifo")));
    EXPECT_EQ(names(), std::vector<std::string>{"fifo"});
}

TEST_F(Files, Replace_SignalsWait_UntilItIsThere) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        folder.write("a", "old");
        EXPECT_EQ(in_child([&] {
                      host::NewFile file(at("a"));
                      file.write("new");
                      raise(signal);
                      file.commit();
                  }),
                  1000 + signal);
        EXPECT_EQ(folder.read("a"), "new") << signal;
        EXPECT_EQ(names(), std::vector<std::string>{"a"}) << signal;
    }
}

TEST_F(Files, Replace_ASignalDuringALongWrite_EndsItCleanly) {
    folder.write("a", "old");
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        EXPECT_EQ(in_child([&] {
                      try {
                          host::NewFile file(at("a"));
                          raise(signal);
                          file.write("new");
                          file.commit();
                      } catch (const host::WriteError&) {
                      }
                  }),
                  1000 + signal);
        EXPECT_EQ(folder.read("a"), "old") << signal;
        EXPECT_EQ(names(), std::vector<std::string>{"a"}) << signal;
    }
    // One that is ignored, as under nohup, does not.
    EXPECT_EQ(in_child([&] {
                  std::signal(SIGHUP, SIG_IGN);
                  host::NewFile file(at("a"));
                  raise(SIGHUP);
                  file.write("new");
                  file.commit();
              }),
              0);
    EXPECT_EQ(folder.read("a"), "new");
}

TEST_F(Files, Replace_Killed_LeavesOneFile_ThatTheNextRemoves) {
    folder.write("a", "old");
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(in_child([&] {
                      host::NewFile file(at("a"));
                      file.write("half");
                      raise(SIGKILL);
                  }),
                  1000 + SIGKILL);
        EXPECT_EQ(folder.read("a"), "old");
        EXPECT_EQ(names(), (std::vector<std::string>{beside("a"), "a"}));
    }
    EXPECT_EQ(write_error("a"), "written");
    EXPECT_EQ(folder.read("a"), "new");
    EXPECT_EQ(names(), std::vector<std::string>{"a"});
}

TEST_F(Files, Replace_WhatLiesInTheWay_IsNotFollowed) {
    folder.write("other", "kept");
    fs::create_symlink("other", at(beside("a")));
    EXPECT_EQ(write_error("a"), "a cannot be written: " + at(beside("a")).string() +
                                    " is in the way: Too many levels of symbolic links");
    EXPECT_EQ(folder.read("other"), "kept");
}

TEST_F(Files, Replace_ByTwoAtOnce_IsWholeEachTime) {
    const auto replace = [&](char letter) {
        for (int i = 0; i < 200; ++i) host::replace_file(at("a"), std::string(5000, letter));
    };
    std::thread one(replace, 'x');
    std::thread two(replace, 'y');
    one.join();
    two.join();
    const std::string content = folder.read("a");
    EXPECT_TRUE(content == std::string(5000, 'x') || content == std::string(5000, 'y'));
    EXPECT_EQ(names(), std::vector<std::string>{"a"});
}

TEST_F(Files, Read_WhatIsNoFile_IsRefusedAtOnce) {
    fs::create_directory(at("folder"));
    ASSERT_EQ(mkfifo(at("fifo").c_str(), 0600), 0);
    EXPECT_EQ(read_error(at("folder")), "it is a directory");
    EXPECT_EQ(read_error(at("fifo")), "it is a FIFO");
    EXPECT_EQ(read_error(at("none")), "No such file or directory");
    EXPECT_EQ(read_error("/dev/zero"), "it has more than 1000 bytes");
    EXPECT_EQ(read_error("/dev/zero", host::Source::kFile), "it is no regular file");
    EXPECT_EQ(read_error("/dev/null"), "read");
}

TEST_F(Files, Read_EverythingUpToTheLimit) {
    for (const size_t length : {0u, 1u, 4095u, 4096u, 4097u, 100000u}) {
        const std::string content(length, 'c');
        folder.write("a", content);
        EXPECT_EQ(host::read_file(at("a"), host::Source::kFile, length), content);
        if (length > 0) {
            EXPECT_EQ(read_error(at("a"), host::Source::kFile, length - 1),
                      "it has more than " + std::to_string(length - 1) + " bytes");
        }
    }
}

TEST_F(Files, Read_ThePipeOfAShell_IsAStream) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "text", 4), 4);
    close(ends[1]);
    const std::string path = "/dev/fd/" + std::to_string(ends[0]);
    EXPECT_EQ(read_error(path, host::Source::kFile), "it is no regular file");
    EXPECT_EQ(host::read_file(path, host::Source::kStream, 100), "text");
    close(ends[0]);
}

TEST_F(Files, Encodings_AreNamed) {
    using namespace std::string_literals;
    EXPECT_STREQ(host::encoding_problem("\xff\xfe<\0"s), "is UTF-16 text, expected UTF-8");
    EXPECT_STREQ(host::encoding_problem("\xfe\xff\0<"s), "is UTF-16 text, expected UTF-8");
    EXPECT_STREQ(host::encoding_problem("\xff\xfe\0\0<\0\0\0"s), "is UTF-32 text, expected UTF-8");
    EXPECT_STREQ(host::encoding_problem("\0\0\xfe\xff\0\0\0<"s), "is UTF-32 text, expected UTF-8");
    EXPECT_EQ(host::encoding_problem("\xef\xbb\xbf<board/>"), nullptr);
    EXPECT_EQ(host::encoding_problem(""), nullptr);
}

}  // namespace
