#include "cleaning/TaskPlaces.h"

#include "platform/PlatformPaths.h"
#include "platform/Trash.h"
#include "services/ShellHelper.h"

#include <QDir>
#include <QFileInfo>

namespace velmox {

TaskPlaces TaskPlaces::current() {
    TaskPlaces places;
    places.home = PlatformPaths::home();
    places.user = ShellHelper::currentLoginName();
    places.userCaches = PlatformPaths::userCaches();
    const QString files = Trash::filesFolder();
    places.trash = files == Trash::infoFolder() ? files : QFileInfo(files).path();
    places.temporary = QDir::tempPath();
    return places;
}

} // namespace velmox
