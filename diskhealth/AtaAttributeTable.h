#pragma once

#include <QString>

namespace velmox {

// The name and description of a standard ATA S.M.A.R.T. attribute number.
struct AtaAttributeInfo {
    QString name;
    QString description;
};

// Known numbers get their own name; any other is "Attribute N", vendor-specific.
AtaAttributeInfo ataAttributeInfo(int id);
bool isKnownAtaAttribute(int id);

} // namespace velmox
