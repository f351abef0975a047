#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string_view>
#include <vector>

namespace qormath::cli {

/// Where a text comes from: each call gives its next part, an empty one at the end.
using TextSource = std::function<std::string_view()>;

/// The object of a JSON text with the fields told, the others left out. It takes memory for these fields alone, and no
/// more of the text is read than it takes to see that it is damaged, so that devices without an end do no harm.
/// Throws ProgramError, which tells the line, for what is not JSON, for nesting and for words and numbers beyond all
/// use, and for a field that stands there twice.
nlohmann::json jsonObject(const TextSource& source, const std::vector<std::string_view>& fields);

}  // namespace qormath::cli
