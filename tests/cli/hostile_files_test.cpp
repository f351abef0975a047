// Files that are no models and no systems, places that cannot be written, and names that nobody should give: exit
// status 1, one sentence that names the file, and every other file as it was.

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <utility>
#include <vector>

#include "command_lines.hpp"
#include "text.hpp"

namespace qormath::cli {
namespace {

using qormath::test::CommandHelp;
using qormath::test::everyCommand;
using qormath::test::exampleModel;
using qormath::test::expectOneSentence;
using qormath::test::expectRefused;
using qormath::test::OptionHelp;
using qormath::test::ProgramRun;
using qormath::test::runHere;
using qormath::test::RunOptions;
using qormath::test::runQormath;
using qormath::test::textOfFile;
using qormath::test::Variable;
using qormath::test::WorkFolder;
using qormath::test::writeFile;
using testing::HasSubstr;

using Words = std::vector<std::string>;

constexpr int failed = 1;

/// What a sanitizer needs of address space is beyond every limit.
#if defined(QORMATH_IS_SANITIZED)
constexpr bool memoryCanBeLimited = false;
#else
constexpr bool memoryCanBeLimited = true;
#endif

/// The command with another value of one of its options that it needs.
Words wordsWith(const WorkFolder& folder, const CommandHelp& command, const OptionHelp& option,
                const std::string& value) {
    Words words = folder.wordsWithout(command, option.name);
    if (!option.name.empty()) {
        words.push_back(option.name);
    }
    words.push_back(value);
    return words;
}

/// Calls work with each option of each command of which filter is true.
template <class Filter, class Work>
void forEach(const Filter& filter, const Work& work) {
    int count = 0;
    for (const CommandHelp& command : everyCommand()) {
        for (const OptionHelp& option : command.options) {
            if (filter(option)) {
                work(command, option);
                ++count;
            }
        }
    }
    EXPECT_GE(count, 6);
}

template <class Work>
void forEachInput(const Work& work) {
    forEach([](const OptionHelp& option) { return option.isInput(); }, work);
}

template <class Work>
void forEachOutput(const Work& work) {
    forEach([](const OptionHelp& option) { return option.isOutput(); }, work);
}

std::string edited(std::string text, const std::string& old, const std::string& replacement) {
    return qormath::test::replacedIn(std::move(text), old, replacement);
}

TEST(HostileInput, ThatIsNoFileOfItsKindIsNamed) {
    const WorkFolder folder;
    const std::string file = folder.file("input");
    const std::string model = textOfFile(folder.model());
    const std::string system = textOfFile(folder.system());
    const Words contents{
        "",
        "\n",
        std::string(1, '\0'),
        std::string(100000, '\0'),
        std::string(1000000, '['),
        "{}",
        "[]",
        "null",
        "\xff\xfe",
        "a letter\n\n",
        std::string(1000, '\n'),
        "{\"format\":",
        model.substr(0, model.size() / 2),
        system.substr(0, system.size() / 2),
        edited(system, "\"states\": 1", "\"states\": 1, \"states\": 1"),
        edited(system, "\"states\": 1", "\"states\": 2000000000"),
        edited(system, "\"states\": 1", "\"states\": -1"),
        edited(system, "\"states\": 1", "\"states\": 1e400"),
        edited(system, "\"states\": 1", "\"states\": [1]"),
        edited(system, "0.25", "NaN"),
        edited(system, "0.25", "1e999"),
        edited(system, "0.25", "\"0.25\""),
        edited(system, "\"FEED\"", "7"),
        edited(system, "\"formatVersion\": 1", "\"formatVersion\": \"" + std::string(90000, 'x') + "\""),
        edited(model, "3.070370e-01", "a third"),
        edited(model, "          30\n          30", "  2000000000\n          30"),
        edited(model, "           1\n", "  2000000000\n")};
    forEachInput([&](const CommandHelp& command, const OptionHelp& option) {
        for (const std::string& content : contents) {
            writeFile(file, content);
            SCOPED_TRACE(content.substr(0, 400));
            EXPECT_THAT(expectRefused(folder, wordsWith(folder, command, option, file), failed), HasSubstr(file));
        }
        writeFile(file, option.isModel() ? system : model);
        EXPECT_THAT(expectRefused(folder, wordsWith(folder, command, option, file), failed), HasSubstr(file));
    });
}

TEST(HostileInput, ThatIsNoPlainFileIsNamed) {
    const WorkFolder folder;
    std::filesystem::create_directory(folder.file("folder"));
    std::filesystem::create_symlink("circle", folder.file("circle"));
    std::filesystem::create_symlink("nowhere", folder.file("dangling"));
    const Words names{folder.file("folder"),
                      folder.file("circle"),
                      folder.file("dangling"),
                      folder.file("missing"),
                      folder.model() + "/",
                      folder.model() + "/file",
                      folder.file("none/file"),
                      "/",
                      ".",
                      "/dev/null",
                      "/dev/zero",
                      std::string(256, 'x'),
                      std::string(5000, 'x'),
                      "/dev/fd/199"};
    forEachInput([&](const CommandHelp& command, const OptionHelp& option) {
        for (const std::string& name : names) {
            EXPECT_THAT(expectRefused(folder, wordsWith(folder, command, option, name), failed),
                        HasSubstr("qormath: " + name + ": "));
        }
    });
}

TEST(HostileInput, OfAGigabyteOfZerosIsGivenUpSoon) {
    const WorkFolder folder;
    const std::string file = folder.file("zeros");
    writeFile(file, "");
    std::filesystem::resize_file(file, std::uintmax_t{1} << 30U);
    RunOptions options;
    if (memoryCanBeLimited) {
        options.largestMemory = rlim_t{900} << 20U;  // less than the file
    }
    forEachInput([&](const CommandHelp& command, const OptionHelp& option) {
        const ProgramRun run = runQormath(wordsWith(folder, command, option, file), options);
        EXPECT_EQ(run.status, failed);
        expectOneSentence(run);
        EXPECT_THAT(run.err, HasSubstr("zeros: "));
        EXPECT_THAT(run.err, HasSubstr("line 1"));
    });
}

/// A model of one curve, of a million lines and more.
std::string longCurve(int coefficients) {
    const std::string count = std::to_string(coefficients);
    std::string text = "No comment\n0\n1\n1\n" + count + "\n" + count + "\n30\n9896\n";
    text += std::string(36, ' ') + "FEED         INLET       \n";
    text += std::string(36, ' ') + "TEMP         REACTOR          0     1\n";
    text += "TEMP         REACTOR         0      0.000000\n";
    for (int k = 0; k < 10; ++k) {
        text += "0.0\n";
    }
    text += "FEED         INLET                   1.0\n";
    for (int k = 0; k < coefficients; k += 5) {
        text += "1 1 1 1 1\n";
    }
    return text;
}

TEST(HostileInput, ThatIsTooLargeForTheMemoryIsNamed) {
    if (!memoryCanBeLimited) {
        GTEST_SKIP() << "the sanitizer needs the addresses";
    }
    const WorkFolder folder;
    constexpr int coefficients = 4000000;  // 32 MB, twice a step
    constexpr rlim_t step = rlim_t{16} << 20U;
    writeFile(folder.file("long"), longCurve(coefficients));
    // Threads of BLAS have stacks, as many as the machine has cores.
    const Variable oneThread("OPENBLAS_NUM_THREADS", "1");
    RunOptions options;
    options.largestMemory = step;
    while (runQormath({"info", folder.model()}, options).status != 0) {
        *options.largestMemory += step;
        ASSERT_LE(*options.largestMemory, rlim_t{4} << 30U);
    }
    EXPECT_EQ(runQormath({"info", folder.file("long")}).status, 0);
    const ProgramRun run = runQormath({"info", folder.file("long")}, options);
    EXPECT_EQ(run.status, failed);
    expectOneSentence(run);
    EXPECT_THAT(run.err, HasSubstr("long: cannot be read: there is not enough memory for it"));
}

TEST(HostileInput, ThatMayNotBeReadIsNamed) {
    const WorkFolder folder;
    writeFile(folder.file("closed"), textOfFile(folder.model()));
    ASSERT_EQ(chmod(folder.file("closed").c_str(), 0), 0);
    forEachInput([&](const CommandHelp& command, const OptionHelp& option) {
        RunOptions options;
        options.isPrivileged = false;
        const ProgramRun run = runQormath(wordsWith(folder, command, option, folder.file("closed")), options);
        if (run.status == qormath::test::cannotDropPrivileges) {
            GTEST_SKIP() << "nothing is protected from root";
        }
        EXPECT_EQ(run.status, failed);
        expectOneSentence(run);
        EXPECT_THAT(run.err, HasSubstr("closed: cannot be read: Permission denied"));
    });
}

TEST(HostileInput, FromAPipeIsASystemOrIsRefused) {
    const WorkFolder folder;
    const std::string pipe = folder.file("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const std::string text = textOfFile(folder.system());
    const std::string output = folder.file("old.json");
    std::thread writer([&] { writeFile(pipe, text); });
    const ProgramRun run = runHere({"resample", pipe, "--sample-time", "120", "-o", output});
    writer.join();
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(readSystemFile(output).system.A(0, 0), 0.25);
    // A model is read twice. That must not wait for a writer.
    const ProgramRun info = runHere({"info", pipe});
    EXPECT_EQ(info.status, failed);
    expectOneSentence(info);
}

TEST(HostileOutput, IsNamedAndLeavesEverythingAsItWas) {
    const WorkFolder folder;
    std::filesystem::create_directory(folder.file("folder"));
    std::filesystem::create_symlink("circle", folder.file("circle"));
    const Words names{folder.file("folder"),
                      folder.file("folder/"),
                      folder.file("none/file"),
                      folder.file("new/"),
                      folder.model() + "/file",
                      folder.file("circle"),
                      folder.file(std::string(256, 'x')),
                      folder.file(std::string(5000, 'x')),
                      "/",
                      ".",
                      "..",
                      "/dev/full",
                      "/dev/stdout",
                      "/dev/fd/1",
                      "/proc/self/fd/1",
                      "/proc/file"};
    forEachOutput([&](const CommandHelp& command, const OptionHelp& option) {
        for (const std::string& name : names) {
            EXPECT_THAT(expectRefused(folder, wordsWith(folder, command, option, name), failed),
                        HasSubstr(name + ": cannot be written: "));
        }
    });
}

TEST(HostileOutput, ThatMayNotBeWrittenIsNamed) {
    const WorkFolder folder;
    std::filesystem::create_directory(folder.file("closed"));
    writeFile(folder.file("guarded"), "old");
    ASSERT_EQ(chmod(folder.file("closed").c_str(), 0500), 0);
    ASSERT_EQ(chmod(folder.file("guarded").c_str(), 0400), 0);
    forEachOutput([&](const CommandHelp& command, const OptionHelp& option) {
        for (const std::string& name : {folder.file("closed/file"), folder.file("guarded")}) {
            const auto before = folder.content();
            RunOptions options;
            options.isPrivileged = false;
            const ProgramRun run = runQormath(wordsWith(folder, command, option, name), options);
            if (run.status == qormath::test::cannotDropPrivileges) {
                GTEST_SKIP() << "nothing is protected from root";
            }
            EXPECT_EQ(run.status, failed);
            expectOneSentence(run);
            EXPECT_THAT(run.err, HasSubstr(name + ": cannot be written: Permission denied"));
            EXPECT_TRUE(folder.content() == before);
        }
    });
}

TEST(HostileName, OfAFileIsAFileLikeAnyOther) {
    const Words names{"a b.fir",  "a\nb.fir", "a\"b'c.fir", "\xff\xfe.fir", "-dash.fir",          "--json",
                      "%s%n.fir", "*",        "$(id).fir",  "\\",           "\x1b[2J.fir",        "\xc2\x9b.fir",
                      " ",        "\t",       "[a].fir",    "{}",           std::string(255, 'x')};
    for (const std::string& name : names) {
        SCOPED_TRACE(printable(name));
        const WorkFolder folder;
        const std::string model = folder.file(name);
        writeFile(model, textOfFile(folder.model()));
        const ProgramRun run = runHere({"reduce", model, "-o", model, "--json"});
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(nlohmann::json::parse(run.out)["model"].get<std::string>(), toUtf8(model));
        const ProgramRun table = runHere({"info", model});
        EXPECT_EQ(table.status, 0);
        EXPECT_EQ(table.out.find("inputs") - table.out.find('\n'), 1U) << "the name stays on its line";
        EXPECT_EQ(folder.content().size(), 5U);
    }
}

TEST(HostileName, OfAFileThatIsMissingStaysOnItsLine) {
    const WorkFolder folder;
    for (const std::string name : {"a\nb.fir", "\nqormath: all is well", "\r", "\x1b[2J", "\xff", "\xc2\x9b", "%s%n"}) {
        forEachInput([&](const CommandHelp& command, const OptionHelp& option) {
            EXPECT_THAT(expectRefused(folder, wordsWith(folder, command, option, folder.file(name)), failed),
                        HasSubstr(printable(name) + ": "));
        });
    }
}

TEST(HostileName, ThatBeginsWithADashStandsAfterTwoOfThem) {
    const WorkFolder folder;
    const auto before = std::filesystem::current_path();
    writeFile(folder.file("-m.fir"), textOfFile(folder.model()));
    std::filesystem::current_path(folder.file("."));
    const ProgramRun bare = runHere({"info", "-m.fir"});
    const ProgramRun after = runHere({"info", "--", "-m.fir"});
    const ProgramRun inFolder = runHere({"info", "./-m.fir"});
    std::filesystem::current_path(before);
    EXPECT_EQ(bare.status, 2);
    EXPECT_THAT(bare.err, HasSubstr("-m.fir"));
    EXPECT_EQ(after.status, 0) << after.err;
    EXPECT_EQ(inFolder.status, 0) << inFolder.err;
}

}  // namespace
}  // namespace qormath::cli
