// Renders the application icon's SVG to the PNG sizes of the hicolor icon theme:
// render-icon SOURCE.svg OUTPUT_FOLDER SIZE...
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>
#include <cstdio>

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 4) {
        std::fprintf(stderr, "usage: render-icon SOURCE.svg OUTPUT_FOLDER SIZE...\n");
        return 2;
    }
    QSvgRenderer renderer(args.at(1));
    if (!renderer.isValid()) {
        std::fprintf(stderr, "render-icon: %s is not a valid SVG file.\n", argv[1]);
        return 1;
    }
    for (const QString& sizeText : args.mid(3)) {
        const int size = sizeText.toInt();
        QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        renderer.render(&painter);
        painter.end();
        const QString path = args.at(2) + QStringLiteral("/velmox-%1.png").arg(size);
        if (!image.save(path, "PNG")) {
            std::fprintf(stderr, "render-icon: %s could not be written.\n", qPrintable(path));
            return 1;
        }
    }
    return 0;
}
