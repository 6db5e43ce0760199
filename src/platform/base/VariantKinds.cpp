#include "VariantKinds.h"

namespace VariantKinds {

bool isInteger(const QVariant &value)
{
    switch (value.metaType().id()) {
    case QMetaType::Bool:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return true;
    default:
        return false;
    }
}

bool isNumber(const QVariant &value)
{
    const int type = value.metaType().id();
    return isInteger(value) || type == QMetaType::Float || type == QMetaType::Double;
}

} // namespace VariantKinds
