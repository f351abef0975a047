#pragma once

// The commands of the program and what they take, as their own help tells, so that a new option is tested as the old
// ones are; and what a command that fails may do: say one sentence, and nothing else.

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <support/temporary_folder.hpp>
#include <system_error>
#include <vector>

#include "models.hpp"
#include "program.hpp"
#include "program_run.hpp"
#include "report_page.hpp"
#include "system_file.hpp"

namespace qormath::test {

/// An option, or an argument without a name, and the word that its help has for its value.
struct OptionHelp {
    std::string name;   ///< with its dashes; empty for an argument
    std::string value;  ///< empty for a flag
    bool isRequired = false;

    bool isFolder() const { return value == "DIR"; }
    bool isFile() const { return value.find('.') != std::string::npos; }
    bool isModel() const { return value.ends_with(".fir"); }
    bool isInput() const { return name.empty() || name == "--like"; }
    bool isOutput() const { return isFile() && !isInput(); }
    bool isChoice() const { return value.find('|') != std::string::npos; }
    bool isOfManyModels() const { return name == "--out-dir" || name == "--jobs" || name == "--resume"; }
    bool isWholeNumber() const { return value.front() == 'N' || value.front() == 'K'; }
};

struct CommandHelp {
    std::string name;
    std::vector<OptionHelp> options;
};

/// Runs the program in this process, which is quicker.
inline ProgramRun runHere(const std::vector<std::string>& arguments) {
    std::vector<const char*> words{"qormath"};
    for (const std::string& argument : arguments) {
        words.push_back(argument.c_str());
    }
    std::ostringstream out;
    std::ostringstream err;
    ProgramRun run;
    run.status = cli::runProgram(static_cast<int>(words.size()), words.data(), out, err, false, QORMATH_PROGRAM);
    run.out = out.str();
    run.err = err.str();
    return run;
}

/// The lines of a section of a help, from its title to a blank line, those of descriptions that stand alone left out.
inline std::vector<std::vector<std::string>> sectionOf(const std::string& help, const std::string& title) {
    std::istringstream text(help);
    std::string line;
    while (std::getline(text, line) && line != title) {
    }
    std::vector<std::vector<std::string>> lines;
    while (std::getline(text, line) && !line.empty()) {
        if (line.size() > 2 && line[2] != ' ') {
            std::istringstream words(line);
            lines.emplace_back(std::istream_iterator<std::string>(words), std::istream_iterator<std::string>());
        }
    }
    return lines;
}

inline CommandHelp helpOf(const std::string& command) {
    const std::string help = runHere({command, "--help"}).out;
    CommandHelp result{command, {}};
    for (const auto& line : sectionOf(help, "Positionals:")) {
        result.options.push_back({"", line[0], true});
    }
    for (const auto& line : sectionOf(help, "Options:")) {
        OptionHelp option{line[0].substr(line[0].find("--")), "", false};
        const bool isValue = line.size() > 1 && (line[1].find_first_of(".|") != std::string::npos ||
                                                 line[1] == "PERCENT" || line[1] == "DIR" || line[1].size() == 1);
        option.value = isValue ? line[1] : "";
        // reduce asks for this one unless there are many models.
        option.isRequired = (line.size() > 2 && line[2] == "REQUIRED") || option.name == "--output";
        if (option.name != "--help" && (option.name != "--report" || cli::hasReportPage())) {
            result.options.push_back(option);
        }
    }
    return result;
}

/// A build without the page of a report refuses all that asks for one, which is left out.
inline std::vector<CommandHelp> everyCommand() {
    std::vector<CommandHelp> commands;
    for (const auto& line : sectionOf(runHere({"--help"}).out, "Subcommands:")) {
        if (line[0] != "report" || cli::hasReportPage()) {
            commands.push_back(helpOf(line[0]));
        }
    }
    if (commands.empty()) {
        throw std::runtime_error("the help shows no command");
    }
    return commands;
}

/// A folder with a model and a system that belong together, and old outputs that must not change.
class WorkFolder {
  public:
    WorkFolder() {
        writeFile(model(), textOfFile(exampleModel("single_lag_30.fir")));
        cli::SystemFile file = firstOrder(0.5, 1.0, 2.0, 0.25);
        file.system.sampleTime = 60.0;
        file.inputs = {"FEED"};
        file.outputs = {"TEMP"};
        file.curveOffset = 0;
        cli::writeSystemFile(system(), file);
        writeFile(folder_.file("old.fir"), "old curves");
        writeFile(folder_.file("old.json"), "old system");
    }

    std::string model() const { return folder_.file("model.fir"); }
    std::string system() const { return folder_.file("system.json"); }
    std::string file(const std::string& name) const { return folder_.file(name); }

    /// A value that the option takes.
    std::string validValue(const OptionHelp& option) const {
        if (option.isInput()) {
            return option.isModel() ? model() : system();
        }
        if (option.isFolder()) {
            return file("results");
        }
        if (option.isFile()) {
            return file(option.isModel() ? "old.fir" : "old.json");
        }
        if (option.name == "--sample-time") {
            return "60";  // that of the system, so that every command takes it
        }
        return option.isChoice() && !option.isWholeNumber() ? option.value.substr(0, option.value.find('|')) : "1";
    }

    /// The command with what it needs, apart from the option told.
    std::vector<std::string> wordsWithout(const CommandHelp& command, const std::string& left) const {
        if (command.name == "reduce" && OptionHelp{left, ""}.isOfManyModels()) {
            return left == "--out-dir" ? std::vector<std::string>{"reduce", model()}
                                       : std::vector<std::string>{"reduce", model(), "--out-dir", file("results")};
        }
        std::vector<std::string> words{command.name};
        for (const OptionHelp& option : command.options) {
            if (!option.isRequired || option.name == left) {
                continue;
            }
            if (!option.name.empty()) {
                words.push_back(option.name);
            }
            words.push_back(validValue(option));
        }
        return words;
    }

    std::vector<std::string> validWords(const CommandHelp& command) const { return wordsWithout(command, "none"); }

    /// The names and the contents of everything in the folder, but not of what cannot be opened.
    std::map<std::string, std::string> content() const {
        std::map<std::string, std::string> result;
        for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
            constexpr std::uintmax_t largest = 1U << 24U;
            std::error_code error;  // a link may lead in a circle
            const bool isText = entry.is_regular_file(error) && entry.file_size(error) < largest;
            result[entry.path().filename().string()] = isText ? textOfFile(entry.path().string()) : "";
        }
        return result;
    }

  private:
    TemporaryFolder folder_;
};

inline std::string joinedWords(const std::vector<std::string>& words) {
    std::string result;
    for (const std::string& word : words) {
        result += "[" + word.substr(0, 80) + "] ";
    }
    return result;
}

/// One sentence on standard error, on one line that steers no terminal, and nothing on standard output.
inline void expectOneSentence(const ProgramRun& run) {
    constexpr std::size_t longestSentence = 500;  // beside the names in it, which are the caller's
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err.rfind("qormath: ", 0), 0U) << run.err;
    EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
    EXPECT_TRUE(std::none_of(run.err.begin(), run.err.end() - (run.err.empty() ? 0 : 1), [](char c) {
        return static_cast<unsigned char>(c) < 0x20U || c == 0x7F;
    })) << run.err;
    EXPECT_LT(run.err.size(), longestSentence + 2 * 5000) << run.err;
    EXPECT_EQ(run.err.find("terminate called"), std::string::npos) << run.err;
}

/// A run in this process that is to fail and to leave the folder as it was.
inline std::string expectRefused(const WorkFolder& folder, const std::vector<std::string>& words, int status) {
    SCOPED_TRACE(joinedWords(words));
    const auto before = folder.content();
    const ProgramRun run = runHere(words);
    EXPECT_EQ(run.status, status) << run.err;
    expectOneSentence(run);
    EXPECT_TRUE(folder.content() == before);
    return run.err;
}

}  // namespace qormath::test
