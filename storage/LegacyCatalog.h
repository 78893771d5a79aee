#pragma once

#include "storage/CatalogFormat.h"

namespace velmox {

// The older JSON form of a catalog: a top record (`volumeName`, `format`, `totalCapacity`,
// `availableSpace`, `scanDate`, `rootNode`) holding nested `CatalogEntry` objects (`name`,
// `path`, `isDirectory`, `size`, `fileCount`, `modificationDate`, `children`). Dates are
// seconds since 2001-01-01 UTC (the form's own encoder) or ISO 8601 text. It knew one size
// per item, which becomes both the allocated and the logical size.
namespace LegacyCatalog {

// std::nullopt when `bytes` are not a catalog of the older form.
std::optional<CatalogContents> read(const QByteArray& bytes);

} // namespace LegacyCatalog

} // namespace velmox
