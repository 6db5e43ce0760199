#include "UserDefaults.h"

#include "platform/base/AtomicFileWriter.h"
#include "platform/base/FileSetAside.h"
#include "platform/base/PlatformLog.h"
#include "platform/archive/PropertyList.h"
#include "platform/base/StandardFolders.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTimeZone>

#include <memory>

namespace {

// Changes made in quick succession (an import handing out thousands of page
// IDs) are written once.
constexpr int kWriteDelayMs = 1000;

std::unique_ptr<UserDefaults> &standardInstance()
{
    static std::unique_ptr<UserDefaults> instance;
    return instance;
}

// One spelling per kind of value, so that comparisons and the file agree.
QVariant normalized(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
        return QVariant(value.toLongLong());
    case QMetaType::Float:
        return QVariant(value.toDouble());
    case QMetaType::QDate:
        return QVariant(value.toDate().startOfDay(QTimeZone::utc()));
    case QMetaType::QDateTime:
        return QVariant(value.toDateTime().toUTC());
    case QMetaType::QStringList:
    case QMetaType::QVariantList: {
        QVariantList list;
        const QVariantList items = value.toList();
        list.reserve(items.size());
        for (const QVariant &item : items)
            list.append(normalized(item));
        return QVariant(list);
    }
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash: {
        QVariantMap map;
        const QVariantMap items = value.toMap();
        for (auto it = items.cbegin(); it != items.cend(); ++it)
            map.insert(it.key(), normalized(it.value()));
        return QVariant(map);
    }
    default:
        return value;
    }
}

bool isNumber(const QVariant &value)
{
    return value.typeId() == QMetaType::LongLong || value.typeId() == QMetaType::Double
        || value.typeId() == QMetaType::Bool;
}

// The leading number of a string, as the platform's string-to-number reading
// does it: "12abc" is 12, "abc" is 0.
double leadingNumber(const QString &text)
{
    const QString trimmed = text.trimmed();
    qsizetype end = 0;
    if (end < trimmed.size() && (trimmed[end] == u'+' || trimmed[end] == u'-'))
        ++end;
    while (end < trimmed.size() && (trimmed[end].isDigit() || trimmed[end] == u'.'))
        ++end;
    return QStringView(trimmed).left(end).toDouble();
}

} // namespace

UserDefaults::UserDefaults(QString filePath, QObject *parent)
    : QObject(parent)
    , m_filePath(std::move(filePath))
{
    m_writeTimer.setSingleShot(true);
    m_writeTimer.setInterval(kWriteDelayMs);
    connect(&m_writeTimer, &QTimer::timeout, this, [this] { (void)synchronize(); });
    load();
}

UserDefaults::~UserDefaults()
{
    (void)synchronize();
}

UserDefaults &UserDefaults::standardUserDefaults()
{
    auto &instance = standardInstance();
    if (!instance) {
        instance = std::make_unique<UserDefaults>(standardFilePath());
        if (auto *app = QCoreApplication::instance()) {
            connect(app, &QCoreApplication::aboutToQuit, instance.get(),
                [defaults = instance.get()] { (void)defaults->synchronize(); });
        }
    }
    return *instance;
}

void UserDefaults::resetStandardUserDefaults()
{
    standardInstance().reset();
}

QString UserDefaults::standardFilePath()
{
    return StandardFolders::configHome() + QStringLiteral("/jotwell3/defaults.plist");
}

void UserDefaults::load()
{
    QFile file(m_filePath);
    if (!file.exists())
        return;
    if (!file.open(QIODevice::ReadOnly)) {
        setAside(file.errorString());
        return;
    }
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        setAside(file.errorString());
        return;
    }
    file.close();

    auto parsed = PropertyList::fromData(bytes);
    if (!parsed) {
        setAside(parsed.errorMessage());
        return;
    }
    if (parsed.value().typeId() != QMetaType::QVariantMap) {
        setAside(QStringLiteral("it does not hold a dictionary"));
        return;
    }
    m_stored = normalized(parsed.value()).toMap();
}

void UserDefaults::setAside(const QString &reason)
{
    const QString problem = QStringLiteral("The settings file %1 could not be read (%2)").arg(m_filePath, reason);
    if (const auto asidePath = FileSetAside::moveAside(m_filePath, QStringLiteral("broken"))) {
        qCWarning(lcPlatform).noquote() << problem
                + QStringLiteral("; it was kept as %1 and the default settings apply.").arg(*asidePath);
    } else {
        m_fileUntouchable = true;
        qCWarning(lcPlatform).noquote() << problem
                + QStringLiteral(
                    " nor moved aside; it is left as it is, the default settings apply and changes will not be saved.");
    }
}

void UserDefaults::registerDefaults(const QVariantMap &defaults)
{
    for (auto it = defaults.cbegin(); it != defaults.cend(); ++it) {
        const QVariant value = normalized(it.value());
        if (!PropertyList::isPropertyListValue(value)) {
            qCWarning(lcPlatform) << "Default for" << it.key() << "is not a property-list value; ignored";
            continue;
        }
        const QVariant oldValue = objectForKey(it.key());
        m_registered.insert(it.key(), value);
        if (!m_stored.contains(it.key()) && oldValue != value)
            Q_EMIT valueChanged(it.key(), oldValue, value);
    }
}

QVariant UserDefaults::objectForKey(const QString &key) const
{
    auto stored = m_stored.constFind(key);
    if (stored != m_stored.cend())
        return *stored;
    return m_registered.value(key);
}

bool UserDefaults::boolForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    if (isNumber(value))
        return value.toDouble() != 0;
    if (value.typeId() == QMetaType::QString) {
        const QString text = value.toString().trimmed();
        return text.compare(QLatin1String("YES"), Qt::CaseInsensitive) == 0
            || text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0 || leadingNumber(text) != 0;
    }
    return false;
}

qint64 UserDefaults::integerForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    if (value.typeId() == QMetaType::LongLong)
        return value.toLongLong();
    if (isNumber(value))
        return qint64(value.toDouble());
    if (value.typeId() == QMetaType::QString)
        return qint64(leadingNumber(value.toString()));
    return 0;
}

double UserDefaults::floatForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    if (isNumber(value))
        return value.toDouble();
    if (value.typeId() == QMetaType::QString)
        return leadingNumber(value.toString());
    return 0;
}

QString UserDefaults::stringForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    if (value.typeId() == QMetaType::QString || value.typeId() == QMetaType::LongLong
        || value.typeId() == QMetaType::Double)
        return value.toString();
    return {};
}

QByteArray UserDefaults::dataForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    return value.typeId() == QMetaType::QByteArray ? value.toByteArray() : QByteArray();
}

QVariantList UserDefaults::arrayForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    return value.typeId() == QMetaType::QVariantList ? value.toList() : QVariantList();
}

QVariantMap UserDefaults::dictionaryForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    return value.typeId() == QMetaType::QVariantMap ? value.toMap() : QVariantMap();
}

bool UserDefaults::setValue(const QString &key, const QVariant &value)
{
    if (!value.isValid()) {
        removeObjectForKey(key);
        return true;
    }
    const QVariant stored = normalized(value);
    if (!PropertyList::isPropertyListValue(stored)) {
        qCWarning(lcPlatform) << "Refused to store" << key << "as" << value.metaType().name()
                              << "is not a property-list value";
        return false;
    }
    storeValue(key, stored);
    return true;
}

void UserDefaults::removeObjectForKey(const QString &key)
{
    storeValue(key, QVariant());
}

void UserDefaults::storeValue(const QString &key, const QVariant &value)
{
    const QVariant oldValue = objectForKey(key);
    const bool wasStored = m_stored.contains(key);
    if (value.isValid()) {
        if (wasStored && m_stored.value(key) == value)
            return;
        m_stored.insert(key, value);
    } else {
        if (!wasStored)
            return;
        m_stored.remove(key);
    }
    scheduleWrite();

    const QVariant newValue = objectForKey(key);
    if (oldValue != newValue)
        Q_EMIT valueChanged(key, oldValue, newValue);
}

bool UserDefaults::hasStoredValue(const QString &key) const
{
    return m_stored.contains(key);
}

void UserDefaults::scheduleWrite()
{
    m_dirty = true;
    if (!m_writeTimer.isActive())
        m_writeTimer.start();
}

Status UserDefaults::synchronize()
{
    m_writeTimer.stop();
    if (!m_dirty)
        return {};
    if (m_fileUntouchable)
        return Error{QStringLiteral("The settings file %1 could not be read and is not overwritten").arg(m_filePath)};

    auto bytes = PropertyList::toData(QVariant(m_stored), PropertyList::Format::Xml);
    if (!bytes)
        return Error{bytes.errorMessage()};
    QDir().mkpath(QFileInfo(m_filePath).absolutePath());
    Status written = AtomicFileWriter::writeFile(m_filePath, bytes.value());
    if (!written) {
        qCWarning(lcPlatform).noquote() << written.errorMessage();
        return written;
    }
    m_dirty = false;
    return {};
}

QMetaObject::Connection UserDefaults::observe(
    const QString &key, const QObject *context, std::function<void(const QVariant &, const QVariant &)> handler)
{
    return connect(this, &UserDefaults::valueChanged, context,
        [key, handler = std::move(handler)](
            const QString &changedKey, const QVariant &oldValue, const QVariant &newValue) {
            if (changedKey == key)
                handler(oldValue, newValue);
        });
}
