#include "app/HelperModes.h"

#include "platform/PlatformPaths.h"
#include "platform/Trash.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <cstdio>
#include <dirent.h>

namespace velmox {

namespace {

void printError(const QString& message) {
    std::fprintf(stderr, "velmox: %s\n", message.toLocal8Bit().constData());
}

// opendir + one readdir is what every scan does first; QDir hides EACCES.
bool canList(const QString& folder) {
    DIR* dir = ::opendir(QFile::encodeName(folder).constData());
    if (!dir)
        return false;
    ::readdir(dir);
    ::closedir(dir);
    return true;
}

} // namespace

bool HelperModes::isRequested(const QStringList& args) {
    return args.contains(QStringLiteral("--protected-scan")) ||
           args.contains(QStringLiteral("--probe-fda"));
}

std::optional<int> HelperModes::run(const QStringList& args, const ProtectedScanEntry& scanEntry) {
    if (args.contains(QStringLiteral("--protected-scan"))) {
        if (!scanEntry) {
            printError(QStringLiteral("The protected-folder scan is not part of this build."));
            return 1;
        }
        return scanEntry(args);
    }
    const qsizetype probe = args.indexOf(QStringLiteral("--probe-fda"));
    if (probe >= 0) {
        if (probe + 1 >= args.size()) {
            printError(QStringLiteral("--probe-fda needs the path of the file to write the "
                                      "answer to."));
            return 2;
        }
        return probeFullDiskAccess(args.at(probe + 1));
    }
    return std::nullopt;
}

QStringList HelperModes::probedFolders() {
    QStringList folders{PlatformPaths::home()};
    for (const QString& folder : {PlatformPaths::appDataParent(), PlatformPaths::appDataFolder(),
                                  PlatformPaths::userCaches(), Trash::filesFolder()})
        if (QFileInfo(folder).isDir() && !folders.contains(folder))
            folders << folder;
    return folders;
}

bool HelperModes::canListAll(const QStringList& folders) {
    for (const QString& folder : folders)
        if (!canList(folder))
            return false;
    return true;
}

int HelperModes::probeFullDiskAccess(const QString& outputPath) {
    const QByteArray answer = canListAll(probedFolders()) ? "1" : "0";
    QSaveFile file(outputPath);
    if (!file.open(QIODevice::WriteOnly) || file.write(answer) != answer.size() || !file.commit()) {
        printError(QStringLiteral("The answer could not be written to “%1” (%2).")
                       .arg(outputPath, file.errorString()));
        return 1;
    }
    return 0;
}

} // namespace velmox
