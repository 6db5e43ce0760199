#pragma once

#include "platform/base/Result.h"

#include <QString>

/*
 * The DNS-SD service type under which the desktop is announced, made from the
 * group name that the user types.
 *
 * What Avahi 0.8 accepts (avahi-common/domain.c, checked against a running
 * daemon):
 * - A service type is a dot-separated list of labels. Inside a label "\." is a
 *   literal dot, "\\" a literal backslash and "\DDD" (decimal, 001 to 255) any
 *   byte; a backslash followed by anything else, or "\000", makes the whole
 *   type invalid. Every other byte stands for itself: spaces, "_" and UTF-8 are
 *   allowed as they are.
 * - Each label, after unescaping, must be at most 63 bytes (AVAHI_LABEL_MAX
 *   is 64 with the terminating NUL) and valid UTF-8 by Avahi's own check,
 *   which also refuses Unicode noncharacters (U+FDD0..U+FDEF, U+xFFFE,
 *   U+xFFFF). The escaped text as a whole must stay under 1014 bytes.
 * - Publishing (avahi_entry_group_add_service) uses the strict check: exactly
 *   two labels, the first starting with "_" and longer than two bytes, the
 *   second "_tcp" or "_udp". Browsing (avahi_service_browser_new) and
 *   resolving use the generic check: any number of labels, each starting with
 *   "_" and longer than two bytes. So an unescaped dot in a group name makes a
 *   type that cannot be published, and one like "a._b" a type that can be
 *   browsed but never published.
 * - Names are compared without regard to ASCII case, as in all of DNS.
 * - Avahi reports the types it finds in its normalised form, in which every
 *   byte other than letters, digits, "-" and "_" is written "\DDD" (a space is
 *   "\032"): compare found types with avahi's rules, not as strings.
 *
 * Hence the choices here: "." and "\" in the group name are escaped, which
 * keeps the announced type byte for byte "_JotwellSync_<group>._tcp"; the
 * label "_JotwellSync_<group>" must fit in 63 bytes, so a group name may take
 * at most 50 bytes of UTF-8 (50 ASCII letters, 25 accented Latin letters,
 * 16 CJK characters); a longer name, an empty one, or one with characters that
 * Avahi refuses cannot be announced, and the caller gets a message saying why.
 */
namespace ServiceType {

/** The longest label DNS and Avahi allow, in bytes of UTF-8. */
inline constexpr int MaxLabelBytes = 63;

/** The protocol name of a sync group: "JotwellSync_" followed by the group name. */
[[nodiscard]] QString protocolName(const QString &groupName);

/** The label escaped for a DNS-SD service type: "." becomes "\." and "\" becomes "\\". */
[[nodiscard]] QString escapeLabel(const QString &label);

/**
 * The service type "_<protocolName>._tcp" with the protocol name escaped, or
 * why Avahi would refuse it (empty, longer than 62 bytes of UTF-8, characters
 * that cannot be announced).
 */
[[nodiscard]] Result<QString> forProtocol(const QString &protocolName);

/**
 * The service type of a sync group, "_JotwellSync_<group>._tcp", or a message
 * for the preferences window that says why the group name cannot be announced.
 */
[[nodiscard]] Result<QString> forGroup(const QString &groupName);

/** The most bytes of UTF-8 that a group name may take. */
[[nodiscard]] int maxGroupNameBytes();

} // namespace ServiceType
