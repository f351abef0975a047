#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <sys/mman.h>
#include <unistd.h>

namespace qormath::test {

/// Elements behind and in front of which lie pages that cannot be touched: whoever reads beyond them stops the process.
/// The last element ends at the page behind; the first one begins at the page in front only if they fill whole pages.
template <class Element>
class GuardedBlock {
  public:
    explicit GuardedBlock(std::size_t count) {
        const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        const std::size_t inside = (count * sizeof(Element) + page - 1) / page * page;
        length_ = inside + 2 * page;
        void* const pages = mmap(nullptr, length_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pages == MAP_FAILED) {
            throw std::bad_alloc();
        }
        pages_ = static_cast<std::byte*>(pages);
        if (mprotect(pages_ + page, inside, PROT_READ | PROT_WRITE) != 0) {
            munmap(pages_, length_);
            throw std::bad_alloc();
        }
        elements_ = reinterpret_cast<Element*>(pages_ + page + inside) - count;
        std::uninitialized_value_construct_n(elements_, count);
    }
    GuardedBlock(const GuardedBlock&) = delete;
    GuardedBlock& operator=(const GuardedBlock&) = delete;
    ~GuardedBlock() { munmap(pages_, length_); }

    Element* data() const { return elements_; }
    Element& operator[](std::size_t k) const { return elements_[k]; }

  private:
    std::byte* pages_ = nullptr;
    std::size_t length_ = 0;
    Element* elements_ = nullptr;
};

}  // namespace qormath::test
