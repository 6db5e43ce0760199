#pragma once

#include <QVariant>

/** What kind of value a QVariant holds, where archives and records care about the kind, not the exact type. */
namespace VariantKinds {

/** True for every integer type an archived number can arrive as (booleans and characters included). */
[[nodiscard]] bool isInteger(const QVariant &value);
/** True for integers and floating-point numbers. */
[[nodiscard]] bool isNumber(const QVariant &value);

} // namespace VariantKinds
