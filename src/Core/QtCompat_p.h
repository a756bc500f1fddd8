#ifndef ZRNCORE_QTCOMPAT_P_H
#define ZRNCORE_QTCOMPAT_P_H

// The one place where the library bridges Qt 5 and Qt 6. Every
// QT_VERSION branch of the library lives here, and so does every silenced
// deprecation warning.

#include <QtCore/QMetaType>
#include <QtCore/QVariant>
#include <QtCore/QtGlobal>

namespace Morvane {
namespace Zrn {
namespace Compat {

QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED

// Returns the type of `v` as QVariant::Type, the type the renderer's
// parameterType() and outputType() have always returned: QVariant::Invalid
// for an invalid value, QVariant::UserType for every user type, the type's
// metatype id otherwise. Qt 6 keeps the enum only as a deprecated one.
inline QVariant::Type variantType(const QVariant& v)
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
