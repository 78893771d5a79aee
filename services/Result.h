#pragma once

#include <QString>
#include <expected>

namespace velmox {

// Failures are values: a result carries either its value or a whole-sentence message
// that callers show unchanged.
template <typename T> using Result = std::expected<T, QString>;

struct Done {
    bool operator==(const Done&) const = default;
};
using Status = Result<Done>;

inline std::unexpected<QString> failure(QString message) {
    return std::unexpected<QString>(std::move(message));
}

} // namespace velmox
