#include "atomic_file.hpp"

#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <support/temporary_folder.hpp>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "program_error.hpp"

namespace qormath::cli {
namespace {

using qormath::test::TemporaryFolder;
using qormath::test::textOfFile;
using qormath::test::writeFile;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

std::string errorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const ProgramError& error) {
        return error.what();
    }
    return "no error";
}

mode_t permissionsOf(const std::string& path) {
    struct stat found {};
    EXPECT_EQ(stat(path.c_str(), &found), 0);
    return found.st_mode & 07777;
}

TEST(ReplaceFile, MakesANewFileAndNothingElse) {
    const TemporaryFolder folder;
    replaceFileByText(folder.file("new"), "text\n");
    EXPECT_EQ(textOfFile(folder.file("new")), "text\n");
    EXPECT_THAT(folder.names(), ElementsAre("new"));
}

TEST(ReplaceFile, WritesAnEmptyText) {
    const TemporaryFolder folder;
    replaceFileByText(folder.file("new"), "");
    EXPECT_EQ(textOfFile(folder.file("new")), "");
}

TEST(ReplaceFile, ReplacesAnOldFile) {
    const TemporaryFolder folder;
    writeFile(folder.file("old"), "a longer text that stood here");
    replaceFileByText(folder.file("old"), "new");
    EXPECT_EQ(textOfFile(folder.file("old")), "new");
    EXPECT_THAT(folder.names(), ElementsAre("old"));
}

TEST(ReplaceFile, LeavesTheOldFileUntilTheNewOneIsWhole) {
    const TemporaryFolder folder;
    const std::string path = folder.file("old");
    writeFile(path, "old");
    replaceFile(path, [&](const std::string& name) {
        writeFile(name, "new");
        EXPECT_EQ(textOfFile(path), "old");
        EXPECT_EQ(std::filesystem::path(name).parent_path(), std::filesystem::path(path).parent_path());
    });
    EXPECT_EQ(textOfFile(path), "new");
}

TEST(ReplaceFile, LeavesTheOldFileAndNothingElseAfterAFailure) {
    const TemporaryFolder folder;
    writeFile(folder.file("old"), "old");
    const auto fail = [](const std::string& name) {
        writeFile(name, "half of it");
        throw std::runtime_error("broken off");
    };
    EXPECT_THROW(replaceFile(folder.file("old"), fail), std::runtime_error);
    EXPECT_THROW(replaceFile(folder.file("new"), fail), std::runtime_error);
    EXPECT_EQ(textOfFile(folder.file("old")), "old");
    EXPECT_THAT(folder.names(), ElementsAre("old"));
}

TEST(ReplaceFile, PassesAnIntOnAndCleansUp) {
    const TemporaryFolder folder;
    EXPECT_THROW(replaceFile(folder.file("new"), [](const std::string&) { throw -1; }), int);
    EXPECT_THAT(folder.names(), IsEmpty());
}

TEST(ReplaceFile, ReportsANewFileThatHasVanished) {
    const TemporaryFolder folder;
    const auto remove = [](const std::string& name) { unlink(name.c_str()); };
    EXPECT_EQ(errorOf([&] { replaceFile(folder.file("new"), remove); }),
              folder.file("new") + ": cannot be written: No such file or directory");
}

TEST(ReplaceFile, KeepsThePermissionsOfAnOldFile) {
    const TemporaryFolder folder;
    writeFile(folder.file("old"), "old");
    ASSERT_EQ(chmod(folder.file("old").c_str(), 0640), 0);
    replaceFileByText(folder.file("old"), "new");
    EXPECT_EQ(permissionsOf(folder.file("old")), 0640U);
}

TEST(ReplaceFile, GivesANewFileThePermissionsThatTheUmaskLeaves) {
    const TemporaryFolder folder;
    const mode_t before = umask(027);
    replaceFileByText(folder.file("new"), "new");
    umask(before);
    EXPECT_EQ(permissionsOf(folder.file("new")), 0640U);
}

TEST(ReplaceFile, WritesThroughASymbolicLink) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.file("elsewhere"));
    writeFile(folder.file("elsewhere/target"), "old");
    std::filesystem::create_symlink("elsewhere/target", folder.file("link"));
    replaceFileByText(folder.file("link"), "new");
    EXPECT_TRUE(std::filesystem::is_symlink(folder.file("link")));
    EXPECT_EQ(textOfFile(folder.file("elsewhere/target")), "new");
}

TEST(ReplaceFile, FindsAFileWithoutAFolderInItsNameInTheWorkingFolder) {
    const TemporaryFolder folder;
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    replaceFileByText("plain", "text");
    std::filesystem::current_path(before);
    EXPECT_EQ(textOfFile(folder.file("plain")), "text");
}

TEST(ReplaceFile, WritesANameOfTheLargestLength) {
    const TemporaryFolder folder;
    const std::string name(255, 'x');
    replaceFileByText(folder.file(name), "text");
    EXPECT_EQ(textOfFile(folder.file(name)), "text");
}

TEST(ReplaceFile, RefusesAFolder) {
    const TemporaryFolder folder;
    EXPECT_EQ(errorOf([&] { replaceFileByText(folder.path(), "text"); }),
              folder.path() + ": cannot be written: Is a directory");
    EXPECT_THAT(folder.names(), IsEmpty());
}

TEST(ReplaceFile, RefusesAFileInAFolderThatDoesNotExist) {
    const TemporaryFolder folder;
    const std::string path = folder.file("missing/file");
    EXPECT_EQ(errorOf([&] { replaceFileByText(path, "text"); }),
              path + ": cannot be written: No such file or directory");
}

TEST(ReplaceFile, RefusesAnEmptyName) {
    EXPECT_EQ(errorOf([&] { replaceFileByText("", "text"); }), "the name of the output file is empty");
}

TEST(ReplaceFile, WritesToADeviceInItsPlace) {
    replaceFileByText("/dev/null", "text");
    struct stat found {};
    ASSERT_EQ(stat("/dev/null", &found), 0);
    EXPECT_TRUE(S_ISCHR(found.st_mode));
}

TEST(ReplaceFile, LeavesAFolderThatHasTakenTheNameMeanwhile) {
    const TemporaryFolder folder;
    const std::string path = folder.file("name");
    EXPECT_EQ(errorOf([&] {
                  replaceFile(path, [&](const std::string& name) {
                      writeFile(name, "text");
                      std::filesystem::create_directory(path);
                  });
              }),
              path + ": cannot be written: Is a directory");
    EXPECT_TRUE(std::filesystem::is_directory(path));
    EXPECT_THAT(folder.names(), ElementsAre("name"));
}

TEST(ReplaceFile, ReportsASocket) {
    const TemporaryFolder folder;
    const std::string path = folder.file("s");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof address.sun_path);
    path.copy(address.sun_path, path.size());
    const int socketDescriptor = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(socketDescriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(errorOf([&] { replaceFileByText(path, "text"); }),
              path + ": cannot be written: No such device or address");
    close(socketDescriptor);
}

TEST(ReplaceFile, ReportsAFullDevice) {
    EXPECT_EQ(errorOf([&] { replaceFileByText("/dev/full", "text"); }),
              "/dev/full: cannot be written: No space left on device");
}

TEST(ReplaceFiles, MakesAndReplacesAllOfThem) {
    const TemporaryFolder folder;
    writeFile(folder.file("old"), "old");
    replaceFiles({textFile(folder.file("old"), "one"), textFile(folder.file("new"), "two")});
    EXPECT_EQ(textOfFile(folder.file("old")), "one");
    EXPECT_EQ(textOfFile(folder.file("new")), "two");
    EXPECT_THAT(folder.names(), UnorderedElementsAre("old", "new"));
}

TEST(ReplaceFiles, ReplacesNoneBeforeAllAreWhole) {
    const TemporaryFolder folder;
    const std::string first = folder.file("first");
    writeFile(first, "old");
    const auto lookAtTheFirst = [&](const std::string& name) {
        EXPECT_EQ(textOfFile(first), "old");
        writeFile(name, "two");
    };
    replaceFiles({textFile(first, "one"), {folder.file("second"), lookAtTheFirst}});
    EXPECT_EQ(textOfFile(first), "one");
    EXPECT_EQ(textOfFile(folder.file("second")), "two");
}

TEST(ReplaceFiles, LeavesAllAsTheyWereIfAnyCannotBeWritten) {
    const TemporaryFolder folder;
    const std::string one = folder.file("one");
    const std::string two = folder.file("two");
    writeFile(one, "old one");
    writeFile(two, "old two");
    const FileToWrite good = textFile(one, "new");
    const FileToWrite broken{two, [](const std::string& name) {
                                 writeFile(name, "half of it");
                                 throw std::runtime_error("broken off");
                             }};
    EXPECT_THROW(replaceFiles({good, broken}), std::runtime_error);
    EXPECT_THROW(replaceFiles({broken, good}), std::runtime_error);
    const FileToWrite vanished{two, [](const std::string& name) { unlink(name.c_str()); }};
    EXPECT_THROW(replaceFiles({good, vanished}), ProgramError);
    EXPECT_THROW(replaceFiles({good, textFile(folder.file("missing/two"), "new")}), ProgramError);
    EXPECT_THROW(replaceFiles({good, textFile(folder.path(), "new")}), ProgramError);
    EXPECT_EQ(textOfFile(one), "old one");
    EXPECT_EQ(textOfFile(two), "old two");
    EXPECT_THAT(folder.names(), UnorderedElementsAre("one", "two"));
}

TEST(ReplaceFiles, LeavesAFileAsItWasIfADeviceIsFull) {
    const TemporaryFolder folder;
    writeFile(folder.file("old"), "old");
    EXPECT_THROW(replaceFiles({textFile(folder.file("old"), "new"), textFile("/dev/full", "new")}), ProgramError);
    EXPECT_EQ(textOfFile(folder.file("old")), "old");
    EXPECT_THAT(folder.names(), ElementsAre("old"));
}

TEST(ReplaceFiles, WritesToADeviceAfterAllFilesAreWhole) {
    const TemporaryFolder folder;
    bool isDeviceWritten = false;
    const FileToWrite device{"/dev/null", [&](const std::string& name) {
                                 EXPECT_EQ(name, "/dev/null");
                                 isDeviceWritten = true;
                             }};
    const FileToWrite file{folder.file("new"), [&](const std::string& name) {
                               EXPECT_FALSE(isDeviceWritten);
                               writeFile(name, "text");
                           }};
    replaceFiles({device, file});
    EXPECT_TRUE(isDeviceWritten);
    EXPECT_EQ(textOfFile(folder.file("new")), "text");
}

TEST(RequireOtherFile, RefusesEveryNameOfTheSameFile) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.file("below"));
    writeFile(folder.file("old"), "old");
    std::filesystem::create_symlink("old", folder.file("link"));
    std::filesystem::create_directory_symlink("below", folder.file("folder"));
    for (const std::string name : {"old", "./old", "below/../old", "link", "folder/../old"}) {
        EXPECT_EQ(errorOf([&] { requireOtherFile(folder.file(name), folder.file("old"), "taken"); }),
                  folder.file(name) + ": cannot be written: taken");
        EXPECT_EQ(errorOf([&] { requireOtherFile(folder.file("old"), folder.file(name), "taken"); }),
                  folder.file("old") + ": cannot be written: taken");
    }
}

TEST(RequireOtherFile, RefusesEveryNameOfAFileThatIsNotThereYet) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.file("below"));
    std::filesystem::create_directory_symlink("below", folder.file("folder"));
    EXPECT_NE(errorOf([&] { requireOtherFile(folder.file("new"), folder.file("./new"), "taken"); }), "no error");
    EXPECT_NE(errorOf([&] { requireOtherFile(folder.file("below/new"), folder.file("folder/new"), "taken"); }),
              "no error");
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    EXPECT_NE(errorOf([&] { requireOtherFile("new", "./new", "taken"); }), "no error");
    EXPECT_NE(errorOf([&] { requireOtherFile("new", folder.file("new"), "taken"); }), "no error");
    std::filesystem::current_path(before);
}

TEST(RequireOtherFile, GoesByTheNamesWhereTheWorkingFolderIsGone) {
    const TemporaryFolder folder;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::create_directory(folder.file("gone"));
    std::filesystem::current_path(folder.file("gone"));
    std::filesystem::remove(folder.file("gone"));
    const std::string same = errorOf([] { requireOtherFile("a", "a", "it is the model"); });
    const std::string other = errorOf([] { requireOtherFile("a", "b", "it is the model"); });
    std::filesystem::current_path(before);
    EXPECT_EQ(same, "a: cannot be written: it is the model");
    EXPECT_EQ(other, "no error");
}

TEST(RequireOtherFile, AcceptsOtherFilesAndDevices) {
    const TemporaryFolder folder;
    writeFile(folder.file("old"), "old");
    EXPECT_EQ(errorOf([&] { requireOtherFile(folder.file("new"), folder.file("old"), "taken"); }), "no error");
    EXPECT_EQ(errorOf([&] { requireOtherFile(folder.file("new"), folder.file("newer"), "taken"); }), "no error");
    EXPECT_EQ(errorOf([] { requireOtherFile("/dev/null", "/dev/null", "taken"); }), "no error");
}

TEST(RequireWritable, AcceptsNewAndOldFilesAndMakesNothing) {
    const TemporaryFolder folder;
    requireWritable(folder.file("new"));
    EXPECT_THAT(folder.names(), IsEmpty());
    writeFile(folder.file("old"), "old");
    requireWritable(folder.file("old"));
    EXPECT_EQ(textOfFile(folder.file("old")), "old");
}

TEST(RequireWritable, RefusesWhatCouldNotBeWritten) {
    const TemporaryFolder folder;
    EXPECT_THROW(requireWritable(folder.path()), ProgramError);
    EXPECT_THROW(requireWritable(folder.file("missing/file")), ProgramError);
    writeFile(folder.file("file"), "");
    EXPECT_THROW(requireWritable(folder.file("file/below")), ProgramError);
}

TEST(RequireWritable, RefusesAWriteProtectedFile) {
    if (geteuid() == 0) {
        GTEST_SKIP() << "nothing is protected from root";
    }
    const TemporaryFolder folder;
    writeFile(folder.file("old"), "old");
    ASSERT_EQ(chmod(folder.file("old").c_str(), 0400), 0);
    EXPECT_EQ(errorOf([&] { requireWritable(folder.file("old")); }),
              folder.file("old") + ": cannot be written: Permission denied");
}

}  // namespace
}  // namespace qormath::cli
