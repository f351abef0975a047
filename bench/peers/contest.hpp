#pragma once

// The rows of bench/compare: what each one solves, who solves it, and how well.
//
// To add a row, write a function in the file of its subject (one file a subject, listed in bench/CMakeLists.txt) that
// appends a Row to the vector it is given, and call it from the function add...Rows of that file; a new file also
// needs a line in addAllRows of compare.cpp. A row is
//
//     rows.push_back({.name = "what is compared",
//                     .goals = {{400, 0.85}, {800, 0.6}},       // n and the aimed at ratio ours / best peer
//                     .contest = [](const Setting& setting) {    // called once a repetition
//                         const auto p = std::make_shared<Problem>(setting.n, setting.seed);
//                         Contest contest;
//                         contest.ours = inProcess("QorMath", [=] { solve(p); }, [=] { return residual(*p); });
//                         contest.peers.push_back(inProcess("Peer", ...));
//                         return contest;
//                     }});
//
// n need not be an order of a matrix: a row whose sizes are its own sets .scalable to false, and runs at the n of its
// goals alone, whatever --sizes asks for. What takes microseconds repeats itself in its solve, as often on both sides.
//
// The rules: a problem is made of n and the seed alone, so that all contenders of a repetition see the same; solve is
// what a user writes, with the copies that the interface forces on him; what restores a peer's overwritten arguments
// goes into prepare, which is not timed. Residuals come from one function for all contenders. A peer that cannot solve
// the problem throws, and the row says so.

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace qormath::peers {

class ChildProcess;

/// What a contest is made for. A child process that is not there is null.
struct Setting {
    int n = 0;
    unsigned seed = 0;
    ChildProcess* scipy = nullptr;
    ChildProcess* octave = nullptr;
    bool namedOnly = false;  ///< the peers of the further kind stay out; run sees to it
};

/// How good a result is: the relative residual, 0 at best, and a remark such as a wrong rank.
struct Verdict {
    Verdict(double relativeResidual, std::string remark = "") : residual(relativeResidual), note(std::move(remark)) {}

    double residual;
    std::string note;
};

/// Whether the goal of the row is judged by this peer, or the peer is shown for completeness.
enum class PeerKind { named, further };

struct Contender {
    std::string name;
    std::function<void()> prepare;   ///< untimed, may be empty
    std::function<double()> run;     ///< gives the seconds that the solution took, or throws
    std::function<Verdict()> judge;  ///< of the last run
    PeerKind kind = PeerKind::named;
};

struct Contest {
    Contender ours;
    std::vector<Contender> peers;
};

/// Of a row that is measured at a size and held to nothing.
inline constexpr double noGoal = 0.0;

struct Goal {
    int n;
    double ratio;
};

struct Row {
    std::string name;
    std::vector<Goal> goals;  ///< ascending in n
    bool scalable = true;     ///< runs at any n
    /// Our residual has to stay below this; 0 stands for twice that of the best peer.
    double residualBound = 0.0;
    std::function<Contest(const Setting&)> contest;
};

/// Seconds of this process's processor time with one BLAS thread, of the wall clock with more.
double stopwatch();

/// A contender of this process: solve is timed, prepare and judge are not.
Contender inProcess(std::string name, std::function<void()> solve, std::function<Verdict()> judge,
                    std::function<void()> prepare = {}, PeerKind kind = PeerKind::named);

/// What came of one contender: medians over the repetitions that went through.
struct Standing {
    std::string name;
    PeerKind kind = PeerKind::named;
    double seconds = 0.0;
    double residual = 0.0;
    double ratio = 0.0;   ///< the median of ours over its time, paired by repetition
    std::string failure;  ///< why it has no figures; empty if it has
    std::string note;
};

struct Outcome {
    Standing ours;
    std::vector<Standing> peers;
};

/// Runs a row: once at a small size to warm up, then so many times, with the order of the contenders turned each time.
Outcome run(const Row& row, const Setting& setting, int repetitions);

}  // namespace qormath::peers
