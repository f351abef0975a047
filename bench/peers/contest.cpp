#include "contest.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <ctime>
#include <exception>
#include <limits>
#include <numeric>

#include <qormath/core/xmsg.hpp>

#include "loaded_blas.hpp"

namespace qormath::peers {

double stopwatch() {
    if (!measuresProcessorTime()) {
        return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    }
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

Contender inProcess(std::string name, std::function<void()> solve, std::function<Verdict()> judge,
                    std::function<void()> prepare, PeerKind kind) {
    const auto timed = [solve = std::move(solve)] {
        const double start = stopwatch();
        solve();
        return stopwatch() - start;
    };
    return {std::move(name), std::move(prepare), timed, std::move(judge), kind};
}

namespace {

/// A small problem that loads the code of every contender; its figures are dropped.
constexpr int warmUpSize = 60;

double median(std::vector<double> values) {
    if (values.empty()) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : 0.5 * (values[middle - 1] + values[middle]);
}

/// What one contender did in all repetitions.
struct Record {
    std::vector<double> seconds;  ///< NaN where it failed
    std::vector<double> residuals;
    std::string failure;
    std::string note;
};

void compete(const Contender& contender, Record& record) {
    double seconds = std::numeric_limits<double>::quiet_NaN();
    try {
        if (contender.prepare) {
            contender.prepare();
        }
        seconds = contender.run();
        const Verdict verdict = contender.judge();
        record.residuals.push_back(verdict.residual);
        if (!verdict.note.empty()) {
            record.note = verdict.note;
        }
    } catch (const std::exception& error) {
        record.failure = error.what();
    } catch (const QorMathLA::xmsg& error) {
        record.failure = error.message;
    } catch (int code) {
        record.failure = "throws " + std::to_string(code);
    }
    if (!record.failure.empty()) {
        seconds = std::numeric_limits<double>::quiet_NaN();
    }
    record.seconds.push_back(seconds);
}

Standing standingOf(const Contender& contender, const Record& record, const std::vector<double>& oursSeconds) {
    std::vector<double> seconds;
    std::vector<double> ratios;
    for (std::size_t k = 0; k < record.seconds.size(); ++k) {
        if (!std::isnan(record.seconds[k])) {
            seconds.push_back(record.seconds[k]);
            ratios.push_back(oursSeconds[k] / record.seconds[k]);
        }
    }
    return {contender.name, contender.kind, median(seconds), median(record.residuals),
            median(ratios), record.failure, record.note};
}

/// One repetition: the contenders in turn, the other way round where backwards is set.
void repetition(const Contest& contest, bool backwards, std::vector<Record>& records) {
    std::vector<const Contender*> contenders{&contest.ours};
    for (const Contender& peer : contest.peers) {
        contenders.push_back(&peer);
    }
    std::vector<std::size_t> order(contenders.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    if (backwards) {
        std::reverse(order.begin(), order.end());
    }
    records.resize(contenders.size());
    for (const std::size_t k : order) {
        compete(*contenders[k], records[k]);
    }
}

Contest contestOf(const Row& row, const Setting& setting) {
    Contest contest = row.contest(setting);
    if (setting.namedOnly) {
        std::erase_if(contest.peers, [](const Contender& peer) { return peer.kind == PeerKind::further; });
    }
    return contest;
}

}  // namespace

Outcome run(const Row& row, const Setting& setting, int repetitions) {
    Setting current = setting;
    current.n = row.scalable ? std::min(setting.n, warmUpSize) : setting.n;
    std::vector<Record> dropped;
    repetition(contestOf(row, current), false, dropped);

    current.n = setting.n;
    std::vector<Record> records;
    Contest contest;
    for (int k = 0; k < repetitions; ++k) {
        current.seed = setting.seed + static_cast<unsigned>(k) + 1;
        contest = contestOf(row, current);
        repetition(contest, k % 2 == 1, records);
    }
    Outcome outcome{standingOf(contest.ours, records[0], records[0].seconds), {}};
    for (std::size_t k = 0; k < contest.peers.size(); ++k) {
        outcome.peers.push_back(standingOf(contest.peers[k], records[k + 1], records[0].seconds));
    }
    return outcome;
}

}  // namespace qormath::peers
