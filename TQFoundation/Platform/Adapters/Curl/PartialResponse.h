#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "TQFoundation/Platform/Files/PartialJournal.h"

namespace tq::internal {

/// What a response's headers say that matters to partial files. A header that is absent is empty.
struct ResponseHead {
  int status = 0;
  std::int64_t contentLength = -1;
  std::string entityTag = {};
  std::string lastModified = {};
  std::string date = {};
  std::string contentRange = {};
  std::string contentEncoding = {};
};

/// The rest of a file that a request asked for.
struct RequestedRest {
  std::int64_t first = 0;
  PartialContent content = {};
};

/// What becomes of a response's body, and of the partial file.
enum class BodyUse {
  startsOver,     ///< The partial file is emptied, and takes the body.
  continues,      ///< The body follows what the partial file has.
  apart,          ///< A file of its own takes the body; the partial file stays for another try.
  apartAndDrops,  ///< A file of its own takes the body; the partial file is of no use any more.
  asksAgain,      ///< Not taken: the whole file has to be asked for.
  refused         ///< Not taken: it is a part that was not asked for.
};

/// Returns what is to be done with the response to a request for `rest`, or for the whole file when that is
/// absent.
///
/// A part is taken only when it is the rest that was asked for, of a file of the same length, and every
/// validator in it is the one that was noted for what is there: some servers ignore a range, or the condition
/// on it, or answer with parts of another version.
[[nodiscard]] BodyUse useOf(const ResponseHead& head, const std::optional<RequestedRest>& rest);

/// Returns which version of a file `head` announces, or absent when a part of it could not be continued:
/// without a length, without a strong validator, or when the body is an encoded form of the file. `source` is
/// kept as it is.
[[nodiscard]] std::optional<PartialContent> continuableContent(const ResponseHead& head, std::string source);

/// Returns the condition of a request for the rest of `content`, for its header `If-Range`.
[[nodiscard]] const std::string& rangeCondition(const PartialContent& content);

}  // namespace tq::internal
