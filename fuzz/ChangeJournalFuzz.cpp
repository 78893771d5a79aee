// The change journal reader on arbitrary bytes: a header is refused with one of its own
// sentences, and the records read stay inside the file, in order, ending where reading
// stopped or at a damaged record.

#include "platform/linux/ChangeJournal.h"

#include <QByteArray>
#include <cstdint>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

using namespace velmox;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Half the inputs get a valid header, so that their records are read at all.
    QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    if (size > 0 && (data[0] & 1))
        bytes = ChangeJournal::encodeHeader({QUuid(), 0}) + bytes.sliced(1);
    size = static_cast<size_t>(bytes.size());
    const int fd = ::memfd_create("journal", MFD_CLOEXEC);
    if (fd < 0 || ::write(fd, bytes.constData(), size) != static_cast<ssize_t>(size))
        std::abort();
    const QString path = QStringLiteral("/proc/self/fd/%1").arg(fd);
    auto reader = ChangeJournal::Reader::open(path);
    if (!reader)
        std::abort(); // the file exists
    if (*reader) {
        uint64_t last = ChangeJournal::kHeaderSize;
        const auto stopped = (*reader)->forEach(0, [&](const ChangeJournal::Record& record) {
            if (record.end <= last || record.end > size ||
                record.path.size() > qsizetype(ChangeJournal::kMaxPathSize))
                std::abort();
            last = record.end;
            return true;
        });
        if (stopped ? *stopped != last
                    : stopped.error() != QStringLiteral("The change journal is damaged."))
            std::abort();
    } else if (!reader->error().startsWith(QStringLiteral("The change journal "))) {
        std::abort();
    }
    ::close(fd);
    return 0;
}
