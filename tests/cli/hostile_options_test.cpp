// Every option of every command with values that make no sense: exit status 2, or 1 where the value is a number that
// the command judges, one sentence on standard error, and every file as it was.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "command_lines.hpp"

namespace qormath::cli {
namespace {

using qormath::test::CommandHelp;
using qormath::test::everyCommand;
using qormath::test::expectRefused;
using qormath::test::OptionHelp;
using qormath::test::ProgramRun;
using qormath::test::runHere;
using qormath::test::WorkFolder;
using testing::HasSubstr;

using Words = std::vector<std::string>;

constexpr int failed = 1;
constexpr int wrongCommandLine = 2;

Words operator+(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

/// What no option with a value takes.
Words nonsense(const OptionHelp& option) {
    const Words noNumbers{"",       " ",   "much", "1x",        " 1",    "1 ",   "1,5",  "1.5.5",  "0x10",   "0b1",
                          "1_0",    "1'0", "++1",  "+-1",       "+",     "--1",  "-",    "--json", "1e999",  "-1e999",
                          "1e-999", "1\n", "\xff", "1\xc2\x9b", "$(id)", "%s%n", "true", "NaN()",  "infinit"};
    const Words noCounts{"nan", "inf", "-inf", "1.5", "1e1", "-1", "2147483648", "99999999999999999999"};
    if (option.isFile() || option.isFolder()) {
        return {"", "-", "--", "--json", "-x", "=x", "--output"};
    }
    if (option.isWholeNumber()) {
        return noNumbers + noCounts;
    }
    return option.isChoice() ? noNumbers + noCounts + Words{option.value, "|", "1"} : noNumbers;
}

/// Calls work with each option that takes a value, and with the words of a command line that needs it alone. Arguments
/// without a name are left out.
template <class Work>
void forEachOptionWithValue(const WorkFolder& folder, const Work& work) {
    for (const CommandHelp& command : everyCommand()) {
        for (const OptionHelp& option : command.options) {
            if (!option.name.empty() && !option.value.empty()) {
                work(option, folder.wordsWithout(command, option.name));
            }
        }
    }
}

TEST(HostileOptions, StandBesideSensibleOnesThatWork) {
    for (const CommandHelp& command : everyCommand()) {
        const WorkFolder folder;
        const ProgramRun run = runHere(folder.validWords(command));
        EXPECT_EQ(run.status, 0) << command.name << ": " << run.err;
        EXPECT_NE(run.out, "");
    }
    const WorkFolder folder;
    forEachOptionWithValue(folder, [&](const OptionHelp& option, const Words& words) {
        const ProgramRun run = runHere(words + Words{option.name, folder.validValue(option)});
        EXPECT_EQ(run.status, 0) << words[0] << " " << option.name << ": " << run.err;
    });
}

TEST(HostileOptions, AreRefusedWithValuesThatMakeNoSense) {
    const WorkFolder folder;
    int count = 0;
    forEachOptionWithValue(folder, [&](const OptionHelp& option, const Words& words) {
        ++count;
        for (const std::string& value : nonsense(option)) {
            const std::string error = expectRefused(folder, words + Words{option.name, value}, wrongCommandLine);
            EXPECT_THAT(error, HasSubstr(option.name));
        }
    });
    EXPECT_GE(count, 17);
}

TEST(HostileOptions, AreRefusedWithNumbersThatAreNone) {
    const WorkFolder folder;
    forEachOptionWithValue(folder, [&](const OptionHelp& option, const Words& words) {
        if (option.isFile() || option.isFolder() || option.isChoice() || option.isWholeNumber()) {
            return;
        }
        for (const char* value : {"nan", "-nan", "inf", "-inf", "NAN", "Infinity"}) {
            const bool isCheckedEarly = option.name == "--condition-limit";
            expectRefused(folder, words + Words{option.name, value}, isCheckedEarly ? wrongCommandLine : failed);
        }
    });
}

TEST(HostileOptions, AreRefusedWithoutTheirValue) {
    const WorkFolder folder;
    forEachOptionWithValue(folder, [&](const OptionHelp& option, const Words& words) {
        expectRefused(folder, words + Words{option.name}, wrongCommandLine);
        expectRefused(folder, words + Words{option.name + "="}, wrongCommandLine);
    });
}

TEST(HostileOptions, AreRefusedIfGivenTwice) {
    const WorkFolder folder;
    forEachOptionWithValue(folder, [&](const OptionHelp& option, const Words& words) {
        const std::string value = folder.validValue(option);
        const std::string error =
            expectRefused(folder, words + Words{option.name, value, option.name, value}, wrongCommandLine);
        EXPECT_THAT(error, HasSubstr(option.name));
    });
}

TEST(HostileOptions, AreRefusedInOtherSpellings) {
    const WorkFolder folder;
    forEachOptionWithValue(folder, [&](const OptionHelp& option, const Words& words) {
        std::string upper = option.name;
        std::transform(upper.begin(), upper.end(), upper.begin(), [](char c) { return static_cast<char>(toupper(c)); });
        for (const std::string& name :
             {upper, option.name.substr(0, option.name.size() - 1), option.name + "s", option.name.substr(1)}) {
            expectRefused(folder, words + Words{name, folder.validValue(option)}, wrongCommandLine);
        }
    });
}

TEST(HostileOptions, ThatAreFlagsTakeNoOtherValueThanTrue) {
    const WorkFolder folder;
    for (const CommandHelp& command : everyCommand()) {
        for (const OptionHelp& option : command.options) {
            if (!option.value.empty()) {
                continue;
            }
            for (const char* value : {"=1", "=0", "=false", "=True", "=maybe", "=\n"}) {
                expectRefused(folder, folder.validWords(command) + Words{option.name + value}, wrongCommandLine);
            }
        }
    }
    const std::string json = runHere({"info", folder.model(), "--json"}).out;
    EXPECT_EQ(runHere({"info", folder.model(), "--json=true"}).out, json);
}

TEST(HostileOptions, ThatAreFlagsMayBeGivenTwice) {
    const WorkFolder folder;
    EXPECT_EQ(runHere({"info", folder.model(), "--json", "--json"}).out,
              runHere({"info", folder.model(), "--json"}).out);
}

TEST(HostileOptions, MayNotBeLeftOutIfTheyAreNeeded) {
    const WorkFolder folder;
    for (const CommandHelp& command : everyCommand()) {
        for (const OptionHelp& option : command.options) {
            if (option.isRequired) {
                const std::string error =
                    expectRefused(folder, folder.wordsWithout(command, option.name), wrongCommandLine);
                EXPECT_THAT(error, HasSubstr(option.name.empty() ? option.value : option.name));
            }
        }
    }
}

TEST(HostileOptions, ThatNobodyKnowsAreNamed) {
    const WorkFolder folder;
    for (const CommandHelp& command : everyCommand()) {
        for (const char* word : {"--loud", "-x", "-", "extra", "", "reduce", "--no-json", "/json"}) {
            const std::string error = expectRefused(folder, folder.validWords(command) + Words{word}, wrongCommandLine);
            EXPECT_THAT(error, HasSubstr("'" + std::string(word) + "'"));
        }
        // Not the one that is missed because of it.
        EXPECT_THAT(expectRefused(folder, {command.name, "--loud"}, wrongCommandLine), HasSubstr("--loud"));
    }
}

TEST(HostileOptions, BehindTwoDashesAreTakenForNames) {
    const WorkFolder folder;
    for (const CommandHelp& command : everyCommand()) {
        const std::string error =
            expectRefused(folder, folder.validWords(command) + Words{"--", "--json"}, wrongCommandLine);
        EXPECT_THAT(error, HasSubstr("'--json'"));
    }
}

TEST(HostileOptions, ThatAreNoCommandsAreNamed) {
    const WorkFolder folder;
    for (const char* word : {"", " ", "melt", "INFO", "info ", "help", "in\nfo", "--", "-", "\xff", "--json", "*"}) {
        expectRefused(folder, {word}, wrongCommandLine);
        expectRefused(folder, {word, folder.model()}, wrongCommandLine);
    }
}

TEST(HostileOptions, ThatContradictEachOtherAreRefused) {
    const WorkFolder folder;
    const Words reduce{"reduce", folder.model(), "-o", folder.file("old.fir")};
    expectRefused(folder, reduce + Words{"--order", "1", "--curve-tolerance", "1"}, wrongCommandLine);
    expectRefused(folder, reduce + Words{"--aligned"}, wrongCommandLine);
    const Words convert{"convert", folder.system(), "-o", folder.file("old.json"), "--to"};
    expectRefused(folder, convert + Words{"continuous", "--sample-time", "61"}, failed);
    expectRefused(folder, convert + Words{"discrete"}, failed);
    expectRefused(folder, {"pairing", folder.model(), "--size", "2"}, failed);
    expectRefused(folder, {"realise", folder.model(), "-o", folder.model()}, failed);
    expectRefused(folder, {"simulate", folder.system(), "--like", folder.model(), "-o", folder.system()}, failed);
    expectRefused(folder, reduce + Words{"--state-space", folder.file("old.fir")}, failed);
    expectRefused(folder, reduce + Words{"--state-space", folder.model()}, failed);
}

TEST(HostileOptions, WithThousandsOfWordsEndSoon) {
    const WorkFolder folder;
    expectRefused(folder, Words{"info", folder.model()} + Words(3000, "--json=1"), wrongCommandLine);
    expectRefused(folder, Words(3000, "-"), wrongCommandLine);
}

}  // namespace
}  // namespace qormath::cli
