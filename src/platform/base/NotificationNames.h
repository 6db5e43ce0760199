#pragma once

#include <QLatin1StringView>

/**
 * Every notification name the application posts or observes, spelt exactly as
 * it is spelt everywhere else (scripts, logs), misspellings included.
 */
namespace NotificationNames {

// Memo store and windows
inline constexpr QLatin1StringView JW3ReloadOutlineData{"JW3ReloadOutlineData"};
inline constexpr QLatin1StringView JW3MemoTitleHasChanged{"JW3MemoTitleHasChanged"};
inline constexpr QLatin1StringView JW3SaveData{"JW3SaveData"};
inline constexpr QLatin1StringView JW3SaveMemoContent{"JW3SaveMemoContent"};
inline constexpr QLatin1StringView JW3OpenNoteLeaf{"JW3OpenNoteLeaf"};
inline constexpr QLatin1StringView JW3ConvertNoteTextToSetTitleAtFirstLine{"JW3ConvertNoteTextToSetTitleAtFirstLine"};
inline constexpr QLatin1StringView JW3ConvertNoteTextToSetTitleFromFirstLine{
    "JW3ConvertNoteTextToSetTitleFromFirstLine"};

// Text editing
inline constexpr QLatin1StringView JW3RefreshFontMenu{"JW3RefreshFontMenu"};
inline constexpr QLatin1StringView JW3UpdateTextSummary{"JW3UpdateTextSummary"};
inline constexpr QLatin1StringView SearchControllerExecuteSearch{"SearchControllerExecuteSearch"};

// Web clipping
inline constexpr QLatin1StringView JWCreatedNewWebClipMemo{"JWCreatedNewWebClipMemo"};
inline constexpr QLatin1StringView WADownloadedArchiveData{"WADownloadedArchiveData"};
inline constexpr QLatin1StringView WADownloadedMobileArchiveData{"WADownloadedMobileArchiveData"};

// Device sync: the packet transport and the exchange
inline constexpr QLatin1StringView BDSReceivedPacket{"BDSReceivedPacket"};
inline constexpr QLatin1StringView BDSReadyToReceivePacket{"BDSReadyToReceivePacket"};
inline constexpr QLatin1StringView BDSSendingPacketWasCompleted{"BDSSendingPacketWasCompleted"};
inline constexpr QLatin1StringView BDSBonjourFailedToSendData{"BDSBonjourFailedToSendData"};
inline constexpr QLatin1StringView BDSBonjourLostConnection{"BDSBonjourLostConnection"};
inline constexpr QLatin1StringView JWSReportSyncProgress{"JWSReportSyncProgress"};
inline constexpr QLatin1StringView JWBonjourSyncWasCompleted{"JWBonjourSyncWasCompleted"};

} // namespace NotificationNames
