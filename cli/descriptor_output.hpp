#pragma once

#include <ostream>
#include <sstream>
#include <string_view>

namespace qormath::cli {

/// Writes the whole text, in as many calls as it takes: the system may take a part of it, be interrupted by a signal,
/// or, where whoever opened the descriptor wants no waiting, have no room yet. The number of the error; 0 without one.
int writeAll(int descriptor, std::string_view text);

/// Keeps what is put into it until it is flushed, and then writes it to a descriptor. What is never flushed is never
/// written, so that a command that fails half way has printed nothing.
class DescriptorBuffer : public std::stringbuf {
  public:
    explicit DescriptorBuffer(int descriptor) : std::stringbuf(std::ios::out), descriptor_(descriptor) {}

  protected:
    /// After a failure errno tells the cause.
    int sync() override;

  private:
    int descriptor_;
};

}  // namespace qormath::cli
