#pragma once

#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace qormath::cli {

// What the commands see of the library that parses the command line, which takes longer to compile than any of them.
// Numbers are read alike in every locale, and nothing of a text is left unread.

/// The command line is wrong; what() says in which way.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// An option of a command, or an argument without a name. The command holds it.
class Option {
  public:
    /// What is wrong with a text; empty if nothing is.
    using Check = std::function<std::string(const std::string& text)>;

    Option& require();
    Option& check(const Check& check);
    Option& allow(const std::vector<std::string>& words);

    /// What the help shows in place of the value.
    Option& showAs(const std::string& text);

    Option& exclude(const Option& other);
    Option& need(const Option& other);

  private:
    friend class Command;
    explicit Option(CLI::Option* option) : option_(option) {}

    CLI::Option* option_;
};

/// A command of the program. Values go where the command told, before it runs.
class Command {
  public:
    Option addText(const std::string& name, std::string& value, const std::string& description);

    /// An option with a number in decimal digits; nan and inf are numbers here, which the command judges.
    Option addNumber(const std::string& name, double& value, const std::string& description);
    Option addNumber(const std::string& name, std::optional<double>& value, const std::string& description);

    /// An option with a whole number in decimal digits, the smallest as told.
    Option addCount(const std::string& name, int& value, int smallest, const std::string& description);

    /// An option, or without dashes in its name an argument, that names a file. An option does not take what looks like
    /// another option for its file: there the file has been forgotten.
    Option addFile(const std::string& name, std::string& value, const std::string& description);

    /// An argument without a name that may stand any number of times, each one a file.
    Option addFiles(const std::string& name, std::vector<std::string>& values, const std::string& description);

    /// A flag, which takes no value that would say otherwise.
    Option addSwitch(const std::string& name, bool& value, const std::string& description);

    /// What the command does, once its options have their values.
    void onRun(const std::function<void()>& run);

  private:
    friend class CommandLine;
    explicit Command(CLI::App* command) : command_(command) {}

    CLI::App* command_;
};

/// The command line of the program.
class CommandLine {
  public:
    explicit CommandLine(const std::string& description);
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;
    ~CommandLine();

    Command add(const std::string& name, const std::string& description);

    /// Runs the command that the arguments tell, or prints the help or the version that they ask for. Throws
    /// UsageError, and what the command throws.
    void run(int argc, const char* const* argv, std::ostream& out);

  private:
    std::unique_ptr<CLI::App> program_;
};

}  // namespace qormath::cli
