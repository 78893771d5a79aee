#include "app/AppLanguageManager.h"

#include "services/Settings.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QTranslator>
#include <algorithm>

namespace velmox {

namespace {

const QString kPrefix = QStringLiteral("velmox_");

QString nameOf(const QString& code) {
    const QString native = QLocale(code).nativeLanguageName();
    if (native.isEmpty() || QLocale(code).language() == QLocale::C)
        return code;
    return native.left(1).toUpper() + native.mid(1);
}

} // namespace

AppLanguageManager::AppLanguageManager(Settings& settings, QString translationsFolder,
                                       QObject* parent)
    : QObject(parent), settings_(settings), folder_(std::move(translationsFolder)),
      startChoice_(chosen()) {}

AppLanguageManager::~AppLanguageManager() {
    if (translator_)
        QCoreApplication::removeTranslator(translator_.get());
}

QList<InterfaceLanguage> AppLanguageManager::languages() const {
    QList<InterfaceLanguage> found;
    const QStringList files =
        QDir(folder_).entryList({kPrefix + QStringLiteral("*.qm")}, QDir::Files, QDir::Name);
    for (const QString& file : files) {
        const QString code = QFileInfo(file).completeBaseName().mid(kPrefix.size());
        if (!code.isEmpty() && code != kEnglish)
            found.append({code, nameOf(code)});
    }
    std::sort(found.begin(), found.end(),
              [](const InterfaceLanguage& a, const InterfaceLanguage& b) {
                  return QString::localeAwareCompare(a.name, b.name) < 0;
              });
    found.prepend({kEnglish, QStringLiteral("English")});
    return found;
}

QString AppLanguageManager::chosen() const {
    return settings_.stringValue(kLanguageKey);
}

Status AppLanguageManager::choose(const QString& code) {
    if (code == chosen())
        return Done{};
    const Status saved = settings_.setValue(kLanguageKey, code);
    emit choiceChanged(); // a failed save unchecks the choice again
    return saved;
}

bool AppLanguageManager::restartNeeded() const {
    return chosen() != startChoice_;
}

QString AppLanguageManager::translationFile(const QString& code) const {
    return QDir(folder_).filePath(kPrefix + code + QStringLiteral(".qm"));
}

Status AppLanguageManager::install() {
    const QString choice = chosen();
    auto translator = std::make_unique<QTranslator>();
    QString code;
    if (choice.isEmpty()) {
        // The system's languages in order of preference; English ends the search because
        // it needs no file.
        for (const QString& wanted : QLocale::system().uiLanguages()) {
            const QString candidate = QLocale(wanted).name();
            if (QLocale(wanted).language() == QLocale::English)
                break;
            for (const QString& form : {candidate, candidate.section(u'_', 0, 0)})
                if (QFileInfo::exists(translationFile(form))) {
                    code = form;
                    break;
                }
            if (!code.isEmpty())
                break;
        }
    } else if (choice != kEnglish) {
        code = choice;
    }
    if (code.isEmpty())
        return Done{};

    const QString name = nameOf(code);
    if (!QFileInfo::exists(translationFile(code)))
        return failure(QStringLiteral("Velmox has no %1 translation any more, so it is shown in "
                                      "English. Choose another language in the Language menu.")
                           .arg(name));
    if (!translator->load(translationFile(code)))
        return failure(QStringLiteral("The %1 translation of Velmox could not be read, so it is "
                                      "shown in English. Reinstalling Velmox repairs it.")
                           .arg(name));
    QCoreApplication::installTranslator(translator.get());
    translator_ = std::move(translator);
    installed_ = code;
    return Done{};
}

} // namespace velmox
