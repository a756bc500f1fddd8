#include "Outputs.h"

#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QStandardPaths>
#include <QtCore/QStringList>
#include <QtGui/QImage>
#include <QtGui/QImageWriter>

#include <cstring>

namespace ZrnDemo {

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size() && file.flush();
}

bool writePng(const RgbImage& image, const QString& path, QString* error)
{
    if (!image.isValid()) {
        if (error)
            *error = QStringLiteral("the renderer's image output holds no image");
        return false;
    }
    // QImage pads each scan line to 4 bytes, so the rows are copied one by one.
    QImage picture(image.width, image.height, QImage::Format_RGB888);
    const int rowBytes = image.width * 3;
    for (int y = 0; y < image.height; ++y)
        std::memcpy(picture.scanLine(y), image.pixels.constData() + y * rowBytes, size_t(rowBytes));

    QImageWriter writer(path, QByteArrayLiteral("png"));
    if (writer.write(picture))
        return true;
    if (error)
        *error = writer.errorString();
    return false;
}

DrawResult drawSvg(const QString& dotPath, const QString& svgPath, QString* detail)
{
    // A drawing left from an earlier run would no longer match the .dot file.
    QFile::remove(svgPath);
    const QString dot = QStandardPaths::findExecutable(QStringLiteral("dot"));
    if (dot.isEmpty())
        return DrawResult::NoDot;
    QProcess process;
    process.start(dot, {QStringLiteral("-Tsvg"), dotPath, QStringLiteral("-o"), svgPath});
    const bool drawn =
        process.waitForFinished(30000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    if (detail)
        *detail = drawn ? dot : QString::fromLocal8Bit(process.readAllStandardError()).trimmed();
    return drawn ? DrawResult::Drawn : DrawResult::Failed;
}

} // namespace ZrnDemo
