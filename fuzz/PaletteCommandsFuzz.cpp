// The custom commands file, which any process (or a person with an editor) may have written.
#include "palette/PaletteCommandStore.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const velmox::PaletteCommandStore::Loaded loaded =
        velmox::PaletteCommandStore::parse(bytes, QStringLiteral("commands.json"));
    if (!loaded.problem.isEmpty() && !loaded.commands.isEmpty())
        std::abort(); // an unreadable file yields no commands
    for (const velmox::PaletteCommand& command : loaded.commands) {
        if (command.id.isEmpty())
            std::abort();
        (void)command.signedBytes();
    }
    return 0;
}
