#include "services/ShownText.h"

#include <QLocale>
#include <QStringDecoder>
#include <cstdlib>

namespace velmox {

namespace {

void appendEscapedByte(QString& shown, uchar byte) {
    switch (byte) {
    case '\n':
        shown += QLatin1String("\\n");
        return;
    case '\t':
        shown += QLatin1String("\\t");
        return;
    case '\r':
        shown += QLatin1String("\\r");
        return;
    default:
        shown += QString::asprintf("\\x%02x", byte);
    }
}

// Length of the valid UTF-8 sequence at `at`, 0 when the bytes there are not one.
qsizetype utf8SequenceLength(QByteArrayView bytes, qsizetype at) {
    const uchar lead = uchar(bytes[at]);
    if (lead < 0x80)
        return 1;
    qsizetype length = 0;
    if ((lead & 0xe0) == 0xc0)
        length = 2;
    else if ((lead & 0xf0) == 0xe0)
        length = 3;
    else if ((lead & 0xf8) == 0xf0)
        length = 4;
    if (length == 0 || at + length > bytes.size())
        return 0;
    // The strict decoder rejects overlong forms, surrogates and values past U+10FFFF.
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString decoded = decoder.decode(bytes.sliced(at, length));
    return decoder.hasError() || decoded.contains(QChar::ReplacementCharacter) ? 0 : length;
}

} // namespace

QString shownName(QByteArrayView bytes) {
    QString shown;
    shown.reserve(bytes.size());
    for (qsizetype at = 0; at < bytes.size();) {
        const uchar byte = uchar(bytes[at]);
        const qsizetype length = utf8SequenceLength(bytes, at);
        if (length == 0) {
            appendEscapedByte(shown, byte);
            ++at;
            continue;
        }
        if (length == 1) {
            if (byte < 0x20 || byte == 0x7f)
                appendEscapedByte(shown, byte);
            else if (byte == '\\')
                shown += QLatin1String("\\\\");
            else
                shown += QLatin1Char(char(byte));
            ++at;
            continue;
        }
        const QString character = QString::fromUtf8(bytes.sliced(at, length));
        const char32_t code = character.toUcs4().value(0);
        // C1 controls (some terminals act on them) and the separators that break a line.
        if ((code >= 0x80 && code <= 0x9f) || code == 0x2028 || code == 0x2029)
            shown += QStringLiteral("\\u%1").arg(uint(code), 4, 16, QLatin1Char('0'));
        else
            shown += character;
        at += length;
    }
    return shown;
}

QString byteText(qint64 bytes) {
    return QLocale::c().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

QString isoDate(const QDateTime& date) {
    const QDateTime local = date.toLocalTime();
    const int offset = local.offsetFromUtc();
    const int minutes = std::abs(offset) / 60;
    return local.toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")) +
           QString::asprintf("%c%02d:%02d", offset < 0 ? '-' : '+', minutes / 60, minutes % 60);
}

} // namespace velmox
