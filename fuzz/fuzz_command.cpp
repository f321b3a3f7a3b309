#include "catalogue/TemplateWords.h"
#include "flash/CommandTemplate.h"
#include "platform/Text.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

// The words /bin/sh makes of a command line, as printf hands them back.
QByteArray WordsOf(const QString& command) {
    int out[2];
    if (::pipe(out) != 0)
        abort();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    const QByteArray line = "printf '%s\\0' " + command.toUtf8();
    char sh[] = "/bin/sh", c[] = "-c", dashes[] = "--";
    char* argv[] = {sh, c, dashes, const_cast<char*>(line.constData()), nullptr};
    pid_t pid = 0;
    if (posix_spawn(&pid, "/bin/sh", &actions, nullptr, argv, environ) != 0)
        abort();
    posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);
    // libFuzzer's own alarm interrupts calls that wait.
    QByteArray words;
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(out[0], buffer, sizeof buffer);
        if (n > 0)
            words.append(buffer, n);
        else if (n == 0 || errno != EINTR)
            break;
    }
    ::close(out[0]);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return words;
}

} // namespace

// The input names a firmware folder, a sub-path, a port and an image, cut at 0x01 bytes. Each
// goes into the command the way Corvane puts it there; the shell must give back each one as
// one word of exactly its bytes, and nothing else.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    QString input = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    input.remove(QChar(0));
    const QStringList parts = input.split(QChar(1));
    const QString folder = QStringLiteral("/f") + parts.value(0);
    const QString sub = parts.value(1);
    const QString port = QStringLiteral("/dev/") + parts.value(2);
    const QString image = TemplateWords::PackageName(parts.value(3)) + QStringLiteral(".bin");

    const QString tmpl = QStringLiteral("--port %port --baud %baud %PATH\\\\") + TemplateWords::ManifestWord(image);
    const QString command = CommandTemplate::Compose(QString(), {tmpl}, ShellWord(port), QStringLiteral("921600"),
                                                     CommandTemplate::Prefix(ShellWord(folder), sub));

    QString dir = sub;
    if (!dir.isEmpty())
        dir = ReplaceAll(dir, QStringLiteral("\\\\"), QStringLiteral("/")) + QLatin1Char('/');
    const QByteArray expected = QByteArray("--port") + '\0' + port.toUtf8() + '\0' + "--baud" + '\0' + "921600" + '\0' +
                                (folder + QLatin1Char('/') + dir + image).toUtf8() + '\0';
    if (WordsOf(command) != expected)
        abort();
    return 0;
}
