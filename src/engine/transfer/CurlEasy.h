// A connection's place in a file as progress files of earlier versions recorded it.
#pragma once

#include <cstdint>
#include <optional>

#include "base/KeyedArchiver.h"
#include "base/KeyedUnarchiver.h"
#include "base/Url.h"

namespace tarvo {

/// Kept so that old progress files can be read; nothing makes new ones.
class CurlEasy final : public Archivable {
public:
    std::optional<Url> url;
    std::int64_t lowerBound = 0;    ///< the connection's first byte
    std::int64_t upperBound = 0;    ///< one past its last byte
    std::int64_t currentOffset = 0; ///< the next byte it would have written

    std::string archivedClassName() const override { return "CurlEasy"; }

    void encode(KeyedArchiver& archiver) const override;

    /// Makes a record of what the unarchiver reads, whatever its class was called.
    static Result<std::shared_ptr<Archivable>> make(KeyedUnarchiver& from);
};

} // namespace tarvo
