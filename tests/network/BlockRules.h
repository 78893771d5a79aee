#pragma once

#include "network/BlockRule.h"

#include <initializer_list>

namespace velmox::test {

// Rules as the user would type them; every text must be valid input.
inline QList<BlockRule> rules(std::initializer_list<const char*> typed) {
    QList<BlockRule> list;
    for (const char* text : typed)
        list.append(*parseBlockInput(QString::fromUtf8(text)));
    return list;
}

} // namespace velmox::test
