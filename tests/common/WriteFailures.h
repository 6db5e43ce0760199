#pragma once

// Writing that fails for a while inside the test process, the way it fails
// for users: a disk that fills up, a folder that cannot be written. Both
// undo themselves when they go out of scope.

#include <QFile>
#include <QStringList>

#include <csignal>
#include <cstdlib>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

/**
 * While active, no file grows past a number of bytes: a write beyond it
 * fails with EFBIG as a write to a full disk fails with ENOSPC (the signal
 * the system would send instead is ignored).
 */
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        ::getrlimit(RLIMIT_FSIZE, &m_saved);
        m_handler = std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit = m_saved;
        limit.rlim_cur = bytes;
        m_active = ::setrlimit(RLIMIT_FSIZE, &limit) == 0;
    }
    ~FileSizeLimit() { lift(); }
    FileSizeLimit(const FileSizeLimit &) = delete;
    FileSizeLimit &operator=(const FileSizeLimit &) = delete;

    [[nodiscard]] bool active() const { return m_active; }
    /** Space again. */
    void lift()
    {
        if (!m_active)
            return;
        ::setrlimit(RLIMIT_FSIZE, &m_saved);
        std::signal(SIGXFSZ, m_handler);
        m_active = false;
    }

private:
    rlimit m_saved{};
    void (*m_handler)(int) = SIG_DFL;
    bool m_active = false;
};

/**
 * While active, the process cannot write into the given folders. Root can
 * write anywhere, so as root the process takes the identity of the user
 * "nobody" (65534) for the time being (effective IDs only, so that it can
 * come back); the folders are left to root and every folder on the way to
 * them is opened for reading. Any other user simply takes its own write
 * access away.
 */
class WithoutWriteAccess
{
public:
    static constexpr uid_t kNobody = 65534;

    /** @p traversed: folders "nobody" must be able to pass through and read. */
    WithoutWriteAccess(const QStringList &folders, const QStringList &traversed)
        : m_folders(folders)
        , m_asRoot(::geteuid() == 0)
    {
        for (const QString &folder : traversed)
            ::chmod(QFile::encodeName(folder).constData(), 0755);
        setModes(0555);
        m_active = !m_asRoot || (::setegid(kNobody) == 0 && ::seteuid(kNobody) == 0);
    }
    ~WithoutWriteAccess()
    {
        // Nothing more can be done when coming back fails; the test has failed by then.
        if (m_asRoot && (::seteuid(0) != 0 || ::setegid(0) != 0))
            std::abort();
        setModes(0755);
    }
    WithoutWriteAccess(const WithoutWriteAccess &) = delete;
    WithoutWriteAccess &operator=(const WithoutWriteAccess &) = delete;

    [[nodiscard]] bool active() const { return m_active; }

    /** The folders become writable for the process as it now is. */
    void giveAccessBack()
    {
        if (m_asRoot) {
            if (::seteuid(0) != 0)
                std::abort();
            setModes(0777);
            if (::seteuid(kNobody) != 0)
                std::abort();
        } else {
            setModes(0755);
        }
    }

private:
    void setModes(mode_t mode)
    {
        for (const QString &folder : m_folders)
            ::chmod(QFile::encodeName(folder).constData(), mode);
    }

    QStringList m_folders;
    bool m_asRoot;
    bool m_active = false;
};
