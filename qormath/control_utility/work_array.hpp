#pragma once

#include <cstddef>
#include <memory>
#include <utility>

namespace qormath::control_utility {

/// The numbers that a large array of so many takes: as many, or those of whole large pages.
std::size_t countOnLargePages(std::size_t count);

/// Numbers to work on for one call, unset at first.
///
/// A large array begins on a boundary of the system's large pages and asks for them (memory/large_pages.hpp), for the
/// last one too where what is left over of that is a quarter of the array at most.
class WorkArray {
  public:
    /// Nothing.
    WorkArray() = default;

    /// So many numbers. Throws std::bad_alloc, also for more than memory can address.
    explicit WorkArray(std::size_t count);

    WorkArray(WorkArray&& other) noexcept
        : block_(std::move(other.block_)), first_(std::exchange(other.first_, nullptr)) {}

    WorkArray& operator=(WorkArray&& other) noexcept {
        block_ = std::move(other.block_);
        first_ = std::exchange(other.first_, nullptr);
        return *this;
    }

    /// The first number; null where there is nothing.
    double* get() const { return first_; }

    double& operator[](std::size_t index) const { return first_[index]; }

  private:
    std::unique_ptr<double[]> block_;
    double* first_ = nullptr;
};

}  // namespace qormath::control_utility
