// A disk that fills up, or a write that is cut short or interrupted, at every place of a model file: the writer says
// so, whatever it is that fails, and never claims a file that is not whole.

#include <array>
#include <cstdio>
#include <faults/fault_points.hpp>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <models/small_fir_models.hpp>
#include <signal.h>
#include <string>
#include <support/plain_fir_file.hpp>
#include <support/temporary_file.hpp>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>

#include <qormath/models/fir_file.hpp>
#include <qormath/models/lti_fir_model.hpp>

using namespace qormath::test;

namespace {

// Several of the pieces that the writer hands over.
LTIFIRModel largeModel() {
    PlainModel plain = emptyModel(6, 5, 105);
    for (std::size_t pair = 0; pair < plain.curves.size(); ++pair) {
        plain.curves[pair] = lagCurve(1.0 + static_cast<double>(pair), 3.0, 105);
    }
    TemporaryFile file(plainText(plain));
    LTIFIRModel model;
    EXPECT_TRUE(model.ReadModel(file.writableName()));
    return model;
}

/// Writing beyond a size fails while it lives, as on a disk with no more room.
class FullDisk {
  public:
    explicit FullDisk(rlim_t room) {
        handler_ = signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{room, before_.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;
    ~FullDisk() {
        setrlimit(RLIMIT_FSIZE, &before_);
        signal(SIGXFSZ, handler_);
    }

  private:
    rlimit before_{};
    void (*handler_)(int) = nullptr;
};

/// Interrupts, while it lives, the calls that wait, which are not restarted.
class Alarms {
  public:
    Alarms() {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, &before_);
        const itimerval often{{0, 500}, {0, 500}};
        setitimer(ITIMER_REAL, &often, nullptr);
    }
    Alarms(const Alarms&) = delete;
    Alarms& operator=(const Alarms&) = delete;
    ~Alarms() {
        const itimerval never{};
        setitimer(ITIMER_REAL, &never, nullptr);
        sigaction(SIGALRM, &before_, nullptr);
    }

  private:
    struct sigaction before_ {};
};

/// What a pipe brings to its end. One page fits it, and it is read so slowly that the writer has to wait.
std::string slowlyReadPipe(const std::string& path) {
    sigset_t alarms;
    sigemptyset(&alarms);
    sigaddset(&alarms, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &alarms, nullptr);
    const int descriptor = open(path.c_str(), O_RDONLY);
    fcntl(descriptor, F_SETPIPE_SZ, 4096);
    std::string received;
    std::array<char, 4096> part{};
    for (ssize_t count = 0; (count = read(descriptor, part.data(), part.size())) > 0;) {
        received.append(part.data(), static_cast<std::size_t>(count));
        usleep(300);
    }
    close(descriptor);
    return received;
}

void setTexts(FIRFileHandle& handle, const LTIFIRModel& model) {
    const int inputs = model.coefficients.rows();
    const int outputs = model.coefficients.cols();
    EXPECT_EQ(firSetHeader(&handle, inputs, outputs, model.coefficientCount, model.horizonSeconds, "No comment"),
              FIR_OK);
    for (int i = 0; i < inputs; ++i) {
        firSetInput(&handle, i, model.inputNames[i].c_str(), model.inputDescriptors[i].c_str());
    }
    for (int j = 0; j < outputs; ++j) {
        firSetOutput(&handle, j, model.outputNames[j].c_str(), model.outputDescriptors[j].c_str(), 0);
    }
}

class WriteFaults : public testing::TestWithParam<WriteFault> {};

std::string faultName(const testing::TestParamInfo<WriteFault>& info) {
    return info.param == WriteFault::fullDisk ? "FullDisk" : "ShortWrite";
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Faults, WriteFaults, testing::Values(WriteFault::fullDisk, WriteFault::shortWrite), faultName);

TEST_P(WriteFaults, AtAnyCallMakeWritingFail) {
    LTIFIRModel model = largeModel();
    TemporaryFile file;
    long calls = 0;
    for (bool hasFailed = true; hasFailed; ++calls) {
        const FailingWrite failing(calls, GetParam());
        const long before = liveBlocks();
        const bool isWritten = model.WriteModel(file.writableName());
        hasFailed = failing.hasFailed();
        EXPECT_EQ(isWritten, !hasFailed) << "call " << calls;
        EXPECT_EQ(liveBlocks(), before) << "call " << calls;
        ASSERT_LT(calls, 100);
    }
    // Each of two pieces, the flush and the closing; the last round gets by.
    EXPECT_GE(calls, 5);
}

// The open file takes what is written though its name is gone: to find that out is for whoever needs the file, as the
// program does when it puts a new file in the place of an old one.
TEST(WriteFaultsOnDisk, OfAFileThatVanishesAtAnyCallLeaveNothingAndTheNextWritingIsWhole) {
    LTIFIRModel model = largeModel();
    TemporaryFile file;
    ASSERT_TRUE(model.WriteModel(file.writableName()));
    const std::string whole = textOfFile(file.name());
    long calls = 0;
    for (bool hasVanished = true; hasVanished; ++calls) {
        const long before = liveBlocks();
        {
            const FailingWrite failing(calls, WriteFault::vanishedFile);
            EXPECT_TRUE(model.WriteModel(file.writableName())) << "call " << calls;
            hasVanished = failing.hasFailed();
        }
        EXPECT_EQ(liveBlocks(), before) << "call " << calls;
        EXPECT_EQ(file.exists(), !hasVanished) << "call " << calls;
        EXPECT_TRUE(model.WriteModel(file.writableName()));
        EXPECT_EQ(textOfFile(file.name()), whole) << "call " << calls;
        ASSERT_LT(calls, 100);
    }
    EXPECT_GE(calls, 5);
}

TEST(WriteFaultsOnDisk, OfADiskThatFillsUpAnywhereMakeWritingFail) {
    LTIFIRModel model = largeModel();
    TemporaryFile file;
    ASSERT_TRUE(model.WriteModel(file.writableName()));
    const std::string whole = textOfFile(file.name());
    constexpr std::size_t step = 997;
    for (std::size_t room = 0; room < whole.size(); room += step) {
        const FullDisk full(room);
        EXPECT_FALSE(model.WriteModel(file.writableName())) << "room for " << room;
    }
    for (const std::size_t missing : {1U, 2U}) {
        const FullDisk full(whole.size() - missing);
        EXPECT_FALSE(model.WriteModel(file.writableName())) << missing << " too few";
    }
    const FullDisk justEnough(whole.size());
    EXPECT_TRUE(model.WriteModel(file.writableName()));
    EXPECT_EQ(textOfFile(file.name()), whole);
}

TEST(WriteFaultsOnDisk, OfInterruptedCallsAreToldAndNoFileIsClaimedThatIsNotWhole) {
    LTIFIRModel model = largeModel();
    TemporaryFile file;
    ASSERT_TRUE(model.WriteModel(file.writableName()));
    const std::string whole = textOfFile(file.name());
    TemporaryFile fifo;
    ASSERT_EQ(mkfifo(fifo.name().c_str(), 0600), 0);
    for (int round = 0; round < 10; ++round) {
        std::string received;
        std::thread reader([&] { received = slowlyReadPipe(fifo.name()); });
        FIRFileHandle handle{};
        EXPECT_EQ(firOpenWrite(&handle, fifo.name().c_str()), FIR_OK);
        setTexts(handle, model);
        int status = FIR_OK;
        {
            const Alarms alarms;
            status = firWriteCurves(&handle, LTIFIRModel::GetCoeffPointer, &model);
        }
        firClose(&handle);
        reader.join();
        EXPECT_TRUE(status != FIR_OK || received == whole) << "round " << round;
    }
}
