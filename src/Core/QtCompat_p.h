// Private to libZrnCore: not part of its interface, never installed.
#ifndef ZRNCORE_QTCOMPAT_P_H
#define ZRNCORE_QTCOMPAT_P_H

// The one place where the library bridges Qt 5 and Qt 6: every QT_VERSION
// branch of the library's sources lives here. It holds one bridge, the
// QVariant::Type that the renderer's parameterType() and outputType() return,
// and silences Qt 6's deprecation of that enum for the sources that name it
// through Compat. Deprecation warnings are silenced in one other place: the
// public Renderer.h, around the declarations of those two functions, so that
// code including it compiles without the warning.

#include <QtCore/QMetaType>
#include <QtCore/QVariant>
#include <QtCore/QtGlobal>

namespace Morvane {
namespace Zrn {
namespace Compat {

QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED

// QVariant::Type under a name of our own: Qt 6 deprecates the enum, and the
// library's sources name it only through these two, so that they need no
// silencing of their own.
using VariantType = QVariant::Type;
constexpr VariantType kInvalidVariantType = QVariant::Invalid;

// Returns the type of `v` as QVariant::Type, the type the renderer's
// parameterType() and outputType() have always returned: QVariant::Invalid
// for an invalid value, QVariant::UserType for every user type, the type's
// metatype id otherwise. Qt 6 keeps the enum only as a deprecated one.
inline VariantType variantType(const QVariant& v)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    const int id = v.typeId();
    return id >= int(QMetaType::User) ? QVariant::UserType : static_cast<QVariant::Type>(id);
#else
    return v.type();
#endif
}

QT_WARNING_POP

} // namespace Compat
} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_QTCOMPAT_P_H
