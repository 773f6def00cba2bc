// The bytes that the library and the peer sum.
#pragma once

#include <string>
#include <vector>

namespace bench {

inline const std::vector<long> kChecksumSizes = {1500, 9000, 65535};

inline std::string ChecksumBytes(long size)
{
    return std::string(static_cast<std::size_t>(size), 'Z');
}

} // namespace bench
