#include <QApplication>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Velmox"));
    QCoreApplication::setApplicationName(QStringLiteral("Velmox"));
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
