#pragma once

#include "iPodWriter.h"

/**
 * The player writer the application uses: it reads page dictionaries as
 * JWMemo::dictionaryRepresentation() makes them (the text under
 * "NoteString"), gives cards the status "JW3 ", and keeps the player folder
 * in the user defaults under "iPodPath".
 */
class JW3iPodWriter : public iPodWriter
{
public:
    [[nodiscard]] QString titleKey() const override;
    [[nodiscard]] QString noteKey() const override;
    [[nodiscard]] QString statusKey() const override;
    [[nodiscard]] QString childrenKey() const override;
    [[nodiscard]] QString defaultStatus() const override;

    /** The folder stored in the user defaults; "" when none is. */
    [[nodiscard]] QString iPodPath() const override;
    /** Stores @p path in the user defaults and writes them at once. */
    void setiPodPath(const QString &path) override;
};
