#include "program.hpp"

#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <new>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

#include <qormath/core/xmsg.hpp>
#include <qormath/version.hpp>

#include "program_run.hpp"

namespace qormath::cli {
namespace {

using qormath::test::exampleModel;
using qormath::test::ProgramRun;
using qormath::test::runQormath;
using qormath::test::TemporaryFolder;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// A wrong command line gives one line on standard error and nothing else.
void expectUsageError(const std::vector<std::string>& arguments, const std::string& cause) {
    const ProgramRun run = runQormath(arguments);
    EXPECT_EQ(run.status, 2) << cause;
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, StartsWith("qormath: "));
    EXPECT_THAT(run.err, HasSubstr(cause));
    EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << run.err;
}

TEST(Program, TellsItsCommands) {
    const ProgramRun run = runQormath({"--help"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    for (const char* command : {"reduce", "info", "realise", "simulate", "convert", "resample", "pairing"}) {
        EXPECT_THAT(run.out, HasSubstr(command));
    }
}

TEST(Program, TellsTheOptionsOfEachCommand) {
    const ProgramRun reduce = runQormath({"reduce", "--help"});
    const ProgramRun info = runQormath({"info", "--help"});
    const ProgramRun realise = runQormath({"realise", "--help"});
    const ProgramRun simulate = runQormath({"simulate", "--help"});
    for (const ProgramRun& run : {reduce, info, realise, simulate}) {
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.err, "");
        EXPECT_THAT(run.out, HasSubstr("--json"));
    }
    for (const char* option :
         {"MODEL.fir", "--output", "REDUCED.fir", "--order", "N|coarse|middle|fine", "--damping", "--curve-tolerance",
          "--gain-tolerance", "PERCENT", "--keep-null-pairs", "--state-space", "SYSTEM.json", "--aligned"}) {
        EXPECT_THAT(reduce.out, HasSubstr(option));
    }
    EXPECT_THAT(info.out, HasSubstr("MODEL.fir"));
    for (const char* option : {"MODEL.fir", "--output", "SYSTEM.json", "--order", "--no-retain-gain", "--aligned"}) {
        EXPECT_THAT(realise.out, HasSubstr(option));
    }
    for (const char* option : {"SYSTEM.json", "--like", "MODEL.fir", "--output", "OUT.fir"}) {
        EXPECT_THAT(simulate.out, HasSubstr(option));
    }
}

TEST(Program, TellsItsVersion) {
    const ProgramRun run = runQormath({"--version"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "qormath " QORMATH_VERSION "\n");
}

TEST(Program, WithoutACommandIsAUsageError) {
    expectUsageError({}, "a command is needed");
}

TEST(Program, WithAnUnknownCommandIsAUsageError) {
    expectUsageError({"melt"}, "there is no command or option 'melt'");
    expectUsageError({"--loud"}, "there is no command or option '--loud'");
}

TEST(Program, WithAnUnknownOptionIsAUsageError) {
    expectUsageError({"info", "--loud", exampleModel("wood_berry.fir")}, "--loud");
}

TEST(Program, WithoutAnArgumentIsAUsageError) {
    expectUsageError({"info"}, "MODEL.fir");
    expectUsageError({"reduce", exampleModel("wood_berry.fir")}, "--output");
    expectUsageError({"reduce", "-o", "reduced.fir"}, "MODEL.fir");
    expectUsageError({"realise", exampleModel("wood_berry.fir")}, "--output");
    expectUsageError({"realise", "-o", "system.json"}, "MODEL.fir");
    expectUsageError({"simulate", "system.json", "-o", "out.fir"}, "--like");
    expectUsageError({"simulate", "system.json", "--like", "model.fir"}, "--output");
}

TEST(Program, WithAnArgumentTooManyIsAUsageError) {
    expectUsageError({"info", "one.fir", "two.fir"}, "two.fir");
}

TEST(Program, WithAnOrderThatIsNoneIsAUsageError) {
    for (const char* order : {"0", "-1", "many", "1.5", "99999999999"}) {
        expectUsageError({"realise", exampleModel("wood_berry.fir"), "-o", "system.json", "--order", order}, "--order");
    }
}

TEST(Program, WithAReductionThatContradictsItselfIsAUsageError) {
    const std::vector<std::string> reduce{"reduce", exampleModel("wood_berry.fir"), "-o", "reduced.fir"};
    const auto expectRefused = [&](std::vector<std::string> more, const std::string& cause) {
        more.insert(more.begin(), reduce.begin(), reduce.end());
        expectUsageError(more, cause);
    };
    expectRefused({"--order", "3", "--curve-tolerance", "1"}, "--order");
    expectRefused({"--order", "coarse", "--curve-tolerance", "1"}, "--curve-tolerance");
    for (const char* order : {"abc", "-1", "1.5", "3x", "Coarse", "", "99999999999"}) {
        expectRefused({"--order", order}, "expected a number of states, coarse, middle or fine");
    }
    for (const char* option : {"--curve-tolerance", "--damping", "--gain-tolerance"}) {
        expectRefused({option, "much"}, option);
        expectRefused({option}, option);
    }
    expectRefused({"--aligned"}, "--state-space");
}

TEST(Program, ReportsOneLineThatNamesTheFile) {
    const TemporaryFolder folder;
    const std::string path = folder.file("missing\nfile.fir");
    const ProgramRun run = runQormath({"info", path});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "qormath: " + folder.path() + "/missing?file.fir: cannot be read: No such file or directory\n");
}

TEST(Program, FailsIfItsResultCannotBePrinted) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"--help"}, {"info", exampleModel("wood_berry.fir")}}) {
        const ProgramRun run = runQormath(arguments, {.standardOutput = "/dev/full"});
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.err, "qormath: standard output: cannot be written: No space left on device\n");
    }
}

/// Throws what it is told to as soon as anything is written.
class ThrowingBuffer : public std::streambuf {
  public:
    explicit ThrowingBuffer(std::function<void()> fail) : fail_(std::move(fail)) {}

  protected:
    int_type overflow(int_type character) override {
        fail_();
        return character;
    }
    std::streamsize xsputn(const char*, std::streamsize count) override {
        fail_();
        return count;
    }

  private:
    std::function<void()> fail_;
};

/// What the program says when its work ends in an exception.
std::string errorAfter(const std::function<void()>& fail) {
    ThrowingBuffer buffer(fail);
    std::ostream out(&buffer);
    out.exceptions(std::ios::badbit);
    std::ostringstream err;
    const std::string model = exampleModel("surge_drum.fir");
    const char* const words[] = {"qormath", "info", model.c_str()};
    EXPECT_EQ(runProgram(3, words, out, err), 1);
    return err.str();
}

TEST(Program, SaysWhichComputationFailed) {
    EXPECT_EQ(errorAfter([] { throw QorMathLA::xmsg(QorMathLA::NumericFailure, "Matrix SVD"); }),
              "qormath: a computation failed: Matrix SVD\n");
    EXPECT_EQ(errorAfter([] { throw -1; }), "qormath: a computation failed\n");
}

TEST(Program, SaysThatThereIsNotEnoughMemory) {
    EXPECT_EQ(errorAfter([] { throw std::bad_alloc(); }), "qormath: there is not enough memory\n");
}

TEST(Program, SaysWhatAnyOtherExceptionSays) {
    EXPECT_EQ(errorAfter([] { throw std::runtime_error("the moon is full"); }), "qormath: the moon is full\n");
}

}  // namespace
}  // namespace qormath::cli
