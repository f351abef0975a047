#include "json_text.hpp"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "program_error.hpp"

namespace qormath::cli {

namespace {

using Json = nlohmann::json;

/// Matrices are lists of lists in an object; fields of other programs may be deeper, but not without bound.
constexpr int deepestNesting = 100;

/// A name, a number or a gap longer than this is not the work of a program that writes systems. The parser keeps each
/// of them in memory.
constexpr std::size_t longestToken = std::size_t{1} << 20U;

/// The characters of a text one by one, with their lines counted.
class Characters {
  public:
    explicit Characters(const TextSource& source) : source_(source) { fetch(); }

    bool isAtEnd() const { return part_.empty(); }
    char current() const { return part_[place_]; }

    void advance() {
        note(current());
        if (++place_ == part_.size()) {
            fetch();
        }
    }

    /// The line of a character, by its number from 1 on. It is the last one taken or the one before.
    std::size_t lineOf(std::size_t number) const {
        const bool isBeforeLineEnd = lastLineEnd_ != 0 && number < lastLineEnd_;
        return lines_ - (isBeforeLineEnd ? 1 : 0);
    }

    std::size_t line() const { return lines_; }

  private:
    void fetch() {
        part_ = source_();
        place_ = 0;
    }

    void note(char character) {
        ++count_;
        if (character == '\n') {
            ++lines_;
            lastLineEnd_ = count_;
        }
        const bool isQuote = character == '"' && !isEscaped_;
        isEscaped_ = isInString_ && character == '\\' && !isEscaped_;
        isInString_ = isInString_ != isQuote;
        const bool separates =
            isQuote || (!isInString_ && std::string_view("[]{},:").find(character) != std::string::npos);
        tokenLength_ = separates ? 0 : tokenLength_ + 1;
        if (tokenLength_ > longestToken) {
            throw ProgramError("this is not a system file: line " + std::to_string(lines_) +
                               " has something longer than any name or number");
        }
    }

    TextSource source_;
    std::string_view part_;
    std::size_t place_ = 0;
    std::size_t count_ = 0;
    std::size_t lines_ = 1;
    std::size_t lastLineEnd_ = 0;
    std::size_t tokenLength_ = 0;
    bool isInString_ = false;
    bool isEscaped_ = false;
};

/// What the parser takes: an iterator over characters that are taken once. The one of the end has none.
class CharacterIterator {
  public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = char;

    CharacterIterator() = default;
    explicit CharacterIterator(Characters& characters) : characters_(&characters) {}

    char operator*() const { return characters_->current(); }
    CharacterIterator& operator++() {
        characters_->advance();
        return *this;
    }
    CharacterIterator operator++(int) {
        characters_->advance();
        return *this;
    }
    bool operator==(const CharacterIterator& other) const { return isAtEnd() == other.isAtEnd(); }
    bool operator!=(const CharacterIterator& other) const { return !(*this == other); }

  private:
    bool isAtEnd() const { return characters_ == nullptr || characters_->isAtEnd(); }

    Characters* characters_ = nullptr;
};

/// Decides, while the parser runs, what of the text is kept.
class Selection {
  public:
    Selection(const Characters& characters, const std::vector<std::string_view>& fields)
        : characters_(characters), fields_(fields) {}

    bool keeps(int depth, Json::parse_event_t event, const Json& parsed) {
        if (depth > deepestNesting) {
            throw ProgramError("this is not a system file: its brackets are nested without end in line " +
                               std::to_string(characters_.line()));
        }
        if (event != Json::parse_event_t::key || depth != 1) {
            return true;
        }
        const auto& name = parsed.get_ref<const std::string&>();
        if (std::find(fields_.begin(), fields_.end(), name) == fields_.end()) {
            return false;
        }
        if (!seen_.insert(name).second) {
            throw ProgramError("the field \"" + name + "\" stands there twice");
        }
        return true;
    }

  private:
    const Characters& characters_;
    const std::vector<std::string_view>& fields_;
    std::set<std::string> seen_;
};

}  // namespace

Json jsonObject(const TextSource& source, const std::vector<std::string_view>& fields) {
    Characters characters(source);
    Selection selection(characters, fields);
    const auto keeps = [&selection](int depth, Json::parse_event_t event, Json& parsed) {
        return selection.keeps(depth, event, parsed);
    };
    try {
        return Json::parse(CharacterIterator(characters), CharacterIterator(), keeps);
    } catch (const Json::parse_error& error) {
        throw ProgramError("this is not JSON: something is wrong in line " +
                           std::to_string(characters.lineOf(error.byte)));
    } catch (const Json::out_of_range&) {
        throw ProgramError("a number in it is too large");
    }
}

}  // namespace qormath::cli
