#include "XslTransform.h"

#include "ExchangeLog.h"

#include "platform/base/AtomicFileWriter.h"

#include <QFile>
#include <QStringList>

#include <libxml/hash.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>
#include <libxslt/security.h>
#include <libxslt/transform.h>
#include <libxslt/xslt.h>
#include <libxslt/xsltInternals.h>
#include <libxslt/xsltutils.h>

#include <cstdarg>
#include <cstdio>
#include <limits>
#include <memory>
#include <mutex>
#include <utility>

namespace {

// Beyond this a hostile source only floods the log; the rest are counted.
constexpr int kLoggedMessages = 20;

/**
 * What the libraries said during one call. Errors fail the call; warnings
 * and xsl:message output are only logged.
 */
class Diagnostics
{
public:
    void addError(const QString &message)
    {
        m_failed = true;
        add(message);
    }
    void add(const QString &message)
    {
        const QString line = message.trimmed();
        if (line.isEmpty())
            return;
        if (m_messages.size() < kLoggedMessages)
            m_messages.append(line);
        else
            ++m_unlogged;
    }
    /** Generic messages arrive in pieces; a line is complete at its newline. */
    void addFragment(const QByteArray &fragment)
    {
        m_pending += fragment;
        qsizetype end;
        while ((end = m_pending.indexOf('\n')) >= 0) {
            add(QString::fromUtf8(m_pending.left(end)));
            m_pending.remove(0, end + 1);
        }
    }
    [[nodiscard]] bool failed() const { return m_failed; }

    void log(const QString &context)
    {
        add(QString::fromUtf8(m_pending));
        m_pending.clear();
        for (const QString &message : std::as_const(m_messages))
            qCWarning(lcExchange).noquote() << context << message;
        if (m_unlogged > 0)
            qCWarning(lcExchange).noquote() << context << QStringLiteral("(%1 more messages)").arg(m_unlogged);
        m_messages.clear();
        m_unlogged = 0;
    }

private:
    QStringList m_messages;
    qsizetype m_unlogged = 0;
    QByteArray m_pending;
    bool m_failed = false;
};

void structuredMessage(void *context, xmlErrorPtr error)
{
    auto *diagnostics = static_cast<Diagnostics *>(context);
    if (!error || !diagnostics)
        return;
    QString message = QString::fromUtf8(error->message ? error->message : "unknown error").trimmed();
    if (error->line > 0)
        message = QStringLiteral("line %1: %2").arg(error->line).arg(message);
    if (error->level >= XML_ERR_ERROR)
        diagnostics->addError(message);
    else
        diagnostics->add(message);
}

void genericMessage(void *context, const char *format, ...)
{
    auto *diagnostics = static_cast<Diagnostics *>(context);
    if (!diagnostics || !format)
        return;
    char buffer[1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(buffer, sizeof buffer, format, arguments);
    va_end(arguments);
    if (length > 0)
        diagnostics->addFragment(QByteArray(buffer, qMin<qsizetype>(length, qsizetype(sizeof buffer) - 1)));
}

/**
 * Routes the libraries' messages into @p diagnostics for the lifetime of the
 * object and then puts the previous handlers back. libxml2 keeps its handlers
 * per thread but libxslt keeps one for the whole process, so calls take turns.
 */
class MessageCapture
{
public:
    explicit MessageCapture(Diagnostics &diagnostics)
        : m_lock(mutex())
        , m_structured(xmlStructuredError)
        , m_structuredContext(xmlStructuredErrorContext)
        , m_generic(xmlGenericError)
        , m_genericContext(xmlGenericErrorContext)
        , m_xslt(xsltGenericError)
        , m_xsltContext(xsltGenericErrorContext)
    {
        xmlSetStructuredErrorFunc(&diagnostics, structuredMessage);
        xmlSetGenericErrorFunc(&diagnostics, genericMessage);
        xsltSetGenericErrorFunc(&diagnostics, genericMessage);
    }
    ~MessageCapture()
    {
        xsltSetGenericErrorFunc(m_xsltContext, m_xslt);
        xmlSetGenericErrorFunc(m_genericContext, m_generic);
        xmlSetStructuredErrorFunc(m_structuredContext, m_structured);
    }
    MessageCapture(const MessageCapture &) = delete;
    MessageCapture &operator=(const MessageCapture &) = delete;

private:
    static std::mutex &mutex()
    {
        static std::mutex instance;
        return instance;
    }

    std::lock_guard<std::mutex> m_lock;
    xmlStructuredErrorFunc m_structured;
    void *m_structuredContext;
    xmlGenericErrorFunc m_generic;
    void *m_genericContext;
    xmlGenericErrorFunc m_xslt;
    void *m_xsltContext;
};

struct DocumentDeleter
{
    void operator()(xmlDoc *document) const { xmlFreeDoc(document); }
};
struct StyleSheetDeleter
{
    void operator()(xsltStylesheet *sheet) const { xsltFreeStylesheet(sheet); }
};
struct ContextDeleter
{
    void operator()(xsltTransformContext *context) const { xsltFreeTransformContext(context); }
};
struct SecurityDeleter
{
    void operator()(xsltSecurityPrefs *prefs) const { xsltFreeSecurityPrefs(prefs); }
};
struct XmlCharDeleter
{
    void operator()(xmlChar *text) const { xmlFree(text); }
};
using DocumentPtr = std::unique_ptr<xmlDoc, DocumentDeleter>;

void initialiseLibraries()
{
    static std::once_flag once;
    std::call_once(once, [] {
        xmlInitParser();
        xsltInit();
    });
}

// No network, and no DTD or external entity is loaded: the source may be anyone's.
DocumentPtr parse(const QByteArray &bytes, const char *url)
{
    if (bytes.size() > std::numeric_limits<int>::max())
        return nullptr;
    return DocumentPtr(xmlReadMemory(bytes.constData(), int(bytes.size()), url, nullptr, XML_PARSE_NONET));
}

/**
 * True when @p document declares general entities of its own. Left
 * unexpanded by the parser, they would still be expanded by every XPath
 * string value that meets them: a few kilobytes referring a hundred times to
 * a long entity become gigabytes. Property lists and outlines have no use for them.
 */
bool declaresEntities(const xmlDoc &document)
{
    const xmlDtd *subset = document.intSubset;
    return subset && subset->entities && xmlHashSize(static_cast<xmlHashTablePtr>(subset->entities)) > 0;
}

std::unique_ptr<xsltSecurityPrefs, SecurityDeleter> lockedDownPrefs()
{
    std::unique_ptr<xsltSecurityPrefs, SecurityDeleter> prefs(xsltNewSecurityPrefs());
    if (!prefs)
        return prefs;
    for (const xsltSecurityOption option : {XSLT_SECPREF_READ_FILE, XSLT_SECPREF_WRITE_FILE,
             XSLT_SECPREF_CREATE_DIRECTORY, XSLT_SECPREF_READ_NETWORK, XSLT_SECPREF_WRITE_NETWORK}) {
        if (xsltSetSecurityPrefs(prefs.get(), option, xsltSecurityForbid) != 0)
            return nullptr;
    }
    return prefs;
}

Result<QByteArray> transform(const QByteArray &xml, const QString &styleSheetPath, Diagnostics &diagnostics)
{
    QFile sheetFile(styleSheetPath);
    if (!sheetFile.open(QIODevice::ReadOnly))
        return Error{
            QStringLiteral("Cannot read the style sheet \"%1\": %2").arg(styleSheetPath, sheetFile.errorString())};
    const QByteArray sheetBytes = sheetFile.readAll();

    initialiseLibraries();
    const MessageCapture capture(diagnostics);

    DocumentPtr sheetDocument = parse(sheetBytes, styleSheetPath.toUtf8().constData());
    if (!sheetDocument)
        return Error{QStringLiteral("The style sheet \"%1\" is not XML").arg(styleSheetPath)};
    // On success the compiled sheet owns its document; on failure it is still ours.
    std::unique_ptr<xsltStylesheet, StyleSheetDeleter> sheet(xsltParseStylesheetDoc(sheetDocument.get()));
    if (sheet)
        static_cast<void>(sheetDocument.release());
    if (!sheet || diagnostics.failed())
        return Error{QStringLiteral("The style sheet \"%1\" cannot be compiled").arg(styleSheetPath)};

    const DocumentPtr source = parse(xml, nullptr);
    if (!source || diagnostics.failed())
        return Error{QStringLiteral("The source is not well-formed XML")};
    if (declaresEntities(*source))
        return Error{QStringLiteral("The source declares entities, which are not accepted")};

    const auto prefs = lockedDownPrefs();
    const std::unique_ptr<xsltTransformContext, ContextDeleter> context(
        xsltNewTransformContext(sheet.get(), source.get()));
    if (!prefs || !context || xsltSetCtxtSecurityPrefs(prefs.get(), context.get()) != 0)
        return Error{QStringLiteral("Cannot set up the transformation")};
    const DocumentPtr result(
        xsltApplyStylesheetUser(sheet.get(), source.get(), nullptr, nullptr, nullptr, context.get()));
    if (!result || context->state != XSLT_STATE_OK || diagnostics.failed())
        return Error{QStringLiteral("The transformation failed")};

    xmlChar *text = nullptr;
    int length = 0;
    if (xsltSaveResultToString(&text, &length, result.get(), sheet.get()) != 0)
        return Error{QStringLiteral("Cannot serialise the result")};
    const std::unique_ptr<xmlChar, XmlCharDeleter> owned(text);
    if (!text || length <= 0)
        return Error{QStringLiteral("The transformation produced nothing")};
    return QByteArray(reinterpret_cast<const char *>(text), length);
}

} // namespace

namespace XslTransform {

QString styleSheetPath(const QString &name)
{
    const QString path = QStringLiteral(":/xsl/") + name + QStringLiteral(".xsl");
    return QFile::exists(path) ? path : QString();
}

Result<QByteArray> transformedData(const QByteArray &xml, const QString &styleSheetPath)
{
    Diagnostics diagnostics;
    Result<QByteArray> result = transform(xml, styleSheetPath, diagnostics);
    diagnostics.log(QStringLiteral("XSL transformation with \"%1\":").arg(styleSheetPath));
    if (!result)
        qCWarning(lcExchange).noquote() << result.errorMessage();
    return result;
}

bool xslTransformWithXMLDocument(const QByteArray &xml, const QString &styleSheetPath, const QString &targetPath)
{
    const Result<QByteArray> result = transformedData(xml, styleSheetPath);
    if (!result)
        return false;
    const Status written = AtomicFileWriter::writeFile(targetPath, result.value());
    if (!written)
        qCWarning(lcExchange).noquote() << written.errorMessage();
    return written.ok();
}

bool xslTransform(const QString &sourceXmlPath, const QString &targetPath, const QString &styleSheetPath)
{
    QFile source(sourceXmlPath);
    if (!source.open(QIODevice::ReadOnly)) {
        qCWarning(lcExchange).noquote() << QStringLiteral("Cannot read \"%1\" for an XSL transformation: %2")
                                               .arg(sourceXmlPath, source.errorString());
        return false;
    }
    return xslTransformWithXMLDocument(source.readAll(), styleSheetPath, targetPath);
}

} // namespace XslTransform
