#pragma once

#include "services/Result.h"

#include <QList>
#include <QObject>
#include <QString>
#include <memory>

class QTranslator;

namespace velmox {

class Settings;

struct InterfaceLanguage {
    QString code; // "en", "de", "pt_BR"
    QString name; // in the language itself: "English", "Deutsch"
    bool operator==(const InterfaceLanguage&) const = default;
};

// The interface language: English, which is built in, plus every translation bundled as
// velmox_<code>.qm. The choice is a setting read once at start, because Qt widgets keep
// the texts they were built with.
class AppLanguageManager : public QObject {
    Q_OBJECT
public:
    static inline const QString kLanguageKey = QStringLiteral("appLanguage");
    static inline const QString kBundledFolder = QStringLiteral(":/i18n");
    static inline const QString kEnglish = QStringLiteral("en");

    explicit AppLanguageManager(Settings& settings, QString translationsFolder = kBundledFolder,
                                QObject* parent = nullptr);
    ~AppLanguageManager() override;

    // English first, then the bundled translations by name.
    QList<InterfaceLanguage> languages() const;
    // The stored choice; empty means the system's language.
    QString chosen() const;
    // Saves the choice; a failure says why in a whole sentence and keeps the old choice.
    Status choose(const QString& code);
    // True when the stored choice differs from the one this process started with.
    bool restartNeeded() const;

    // Loads the translation of the chosen language (or the system's best match) into the
    // application. English, or a system language without a translation, needs none.
    Status install();
    // The code of the translation in use, or "en".
    QString installed() const { return installed_; }

signals:
    void choiceChanged();

private:
    QString translationFile(const QString& code) const;

    Settings& settings_;
    QString folder_;
    QString startChoice_;
    QString installed_ = kEnglish;
    std::unique_ptr<QTranslator> translator_;
};

} // namespace velmox
