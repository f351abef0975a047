#pragma once

// What bench/compare prints.

#include <optional>
#include <string>

#include "contest.hpp"

namespace qormath::peers {

/// One line of the table.
struct Line {
    std::string name;
    int n = 0;
    Outcome outcome;
    std::optional<double> goal;
    double residualBound = 0.0;

    /// The fastest of the peers that the goal names and that solved the problem, or null.
    const Standing* bestPeer() const;

    /// Whether our residual is below its bound, or where none is stated no worse than twice the best peer's.
    bool residualHolds() const;

    /// Whether the ratio is at most so many times the goal, and the residual holds. A line without a goal or a peer
    /// has nothing to meet but our own success.
    bool meets(double allowance) const;
};

class Report {
  public:
    explicit Report(bool markdown) : markdown_(markdown) {}

    void heading() const;
    void print(const Line& line) const;

  private:
    bool markdown_;
};

}  // namespace qormath::peers
