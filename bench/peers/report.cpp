#include "report.hpp"

#include <cmath>
#include <cstdio>

namespace qormath::peers {

namespace {

/// A residual of one rounding is as good as none.
constexpr double oneRounding = 0x1p-52;

/// A residual that is so many times ours has lost digits which the row tells.
constexpr double lossWorthTelling = 100.0;

std::string text(const char* format, double value) {
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, format, value);
    return buffer;
}

std::string milliseconds(double seconds) {
    return text(seconds >= 0.01 ? "%.0f" : "%.3g", 1e3 * seconds);
}

std::string residualText(double residual) {
    return text("%.1e", residual);
}

std::string lostDigits(const Standing& peer, double oursResidual) {
    if (!(peer.residual > lossWorthTelling * std::fmax(oursResidual, oneRounding))) {
        return "";
    }
    return peer.name + " loses " + text("%.0f", std::log10(peer.residual / std::fmax(oursResidual, oneRounding))) +
           " digits";
}

void append(std::string& remarks, const std::string& remark) {
    if (!remark.empty()) {
        remarks += remarks.empty() ? remark : "; " + remark;
    }
}

/// All that the columns do not tell: the other peers, failures, wrong ranks, lost digits.
std::string remarksOn(const Line& line, const Standing* best) {
    std::string remarks = line.outcome.ours.note;
    if (!line.outcome.ours.failure.empty()) {
        append(remarks, "fails: " + line.outcome.ours.failure);
    }
    for (const Standing& peer : line.outcome.peers) {
        if (!peer.failure.empty()) {
            append(remarks, peer.name + " fails: " + peer.failure);
            continue;
        }
        if (&peer != best) {
            append(remarks, text("%.2f of ", peer.ratio) + peer.name);
        }
        append(remarks, lostDigits(peer, line.outcome.ours.residual));
        if (!peer.note.empty()) {
            append(remarks, peer.name + ": " + peer.note);
        }
    }
    return remarks;
}

}  // namespace

const Standing* Line::bestPeer() const {
    const Standing* best = nullptr;
    for (const Standing& peer : outcome.peers) {
        if (peer.kind == PeerKind::named && peer.failure.empty() && (best == nullptr || peer.seconds < best->seconds)) {
            best = &peer;
        }
    }
    return best;
}

bool Line::residualHolds() const {
    const Standing* best = bestPeer();
    const double ours = outcome.ours.residual;
    if (residualBound > 0.0) {
        return ours <= residualBound;
    }
    return best == nullptr ? std::isfinite(ours) : ours <= std::fmax(oneRounding, 2.0 * best->residual);
}

bool Line::meets(double allowance) const {
    if (!outcome.ours.failure.empty()) {
        return false;
    }
    const Standing* best = bestPeer();
    return !goal || best == nullptr || (best->ratio <= allowance * *goal && residualHolds());
}

void Report::heading() const {
    if (markdown_) {
        std::printf(
            "| row | n | ours, ms | best peer | its ms | ratio | goal | met | residual | peer's | remarks |\n"
            "|---|---|---|---|---|---|---|---|---|---|---|\n");
    } else {
        std::printf("%-44s %5s %9s  %-20s %9s %6s %5s %-9s %8s %8s  %s\n", "row", "n", "ours, ms", "best peer",
                    "its ms", "ratio", "goal", "met", "residual", "peer's", "remarks");
    }
    std::fflush(stdout);
}

void Report::print(const Line& line) const {
    const Standing* best = line.bestPeer();
    const Standing& ours = line.outcome.ours;
    const char* met = !line.goal || best == nullptr ? "-"
                      : line.meets(1.0)             ? "yes"
                      : line.residualHolds()        ? "time"
                      : best->ratio <= *line.goal   ? "residual"
                                                    : "both";
    const std::string ratio = best == nullptr ? "-" : text("%.2f", best->ratio);
    const std::string goal = line.goal ? text("%.2f", *line.goal) : "-";
    const std::string name = best == nullptr ? "none" : best->name;
    const std::string peerTime = best == nullptr ? "-" : milliseconds(best->seconds);
    const std::string peerResidual = best == nullptr ? "-" : residualText(best->residual);
    const char* format = markdown_ ? "| %s | %d | %s | %s | %s | %s | %s | %s | %s | %s | %s |\n"
                                   : "%-44s %5d %9s  %-20s %9s %6s %5s %-9s %8s %8s  %s\n";
    std::printf(format, line.name.c_str(), line.n, milliseconds(ours.seconds).c_str(), name.c_str(), peerTime.c_str(),
                ratio.c_str(), goal.c_str(), met, residualText(ours.residual).c_str(), peerResidual.c_str(),
                remarksOn(line, best).c_str());
    std::fflush(stdout);
}

}  // namespace qormath::peers
