// A stand-in ESP32 on a pseudo-terminal, for the serial monitor's tests, benchmark and demos. It prints
// the port's path; once the port is opened, its boot banner. It echoes each line it gets with CR LF, and
// answers "stream N" with N bytes of log text as fast as they are read. It ends when the port closes.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <unistd.h>

int main() {
    int master = -1, slave = -1;
    char name[256] = {};
    if (openpty(&master, &slave, name, nullptr, nullptr) != 0)
        return 1;
    // Raw from the start: nothing is echoed or held for a line before the monitor sets the line up.
    termios t{};
    tcgetattr(slave, &t);
    cfmakeraw(&t);
    tcsetattr(slave, TCSANOW, &t);
    close(slave);
    fcntl(master, F_SETFL, fcntl(master, F_GETFL) | O_NONBLOCK);
    std::printf("%s\n", name);
    std::fflush(stdout);

    // Without a reader the master reports a hang-up; an opening of the port ends it.
    for (pollfd p{master, POLLIN, 0}; poll(&p, 1, 0) >= 0 && (p.revents & POLLHUP);)
        usleep(10000);
    usleep(20000); // a real board needs a moment to come out of reset
    std::string out = "ets Jun  8 2016 00:22:57\r\n\r\nrst:0x1 (POWERON_RESET),boot:0x13 (SPI_FAST_FLASH_BOOT)\r\n"
                      "configsip: 0, SPIWP:0xee\r\nmode:DIO, clock div:1\r\nentry 0x400806b4\r\n"
                      "virtual board ready\r\n";
    std::string line;
    unsigned long long left = 0, number = 0; // stream bytes still to come, the next line's number
    for (;;) {
        // Many lines at once, so that one write moves a pipe-full.
        for (int i = 0; i < 1024 && left > 0 && (i > 0 || out.empty()); ++i) {
            char text[80];
            std::snprintf(text, sizeof text, "I (%010llu) stream: the quick brown fox jumps over it......\r\n",
                          number++);
            const size_t take = size_t(std::min(left, 64ULL));
            out.append(text, take);
            left -= take;
        }
        pollfd p{master, short(POLLIN | (out.empty() ? 0 : POLLOUT)), 0};
        if (poll(&p, 1, -1) < 0 || (p.revents & (POLLHUP | POLLERR)))
            return 0;
        if (p.revents & POLLOUT) {
            const ssize_t n = write(master, out.data(), out.size());
            out.erase(0, size_t(std::max<ssize_t>(n, 0)));
        }
        char buf[4096];
        const ssize_t n = (p.revents & POLLIN) ? read(master, buf, sizeof buf) : 0;
        for (ssize_t i = 0; i < n; ++i) {
            if (buf[i] != '\r' && buf[i] != '\n') {
                line += buf[i];
                continue;
            }
            if (line.rfind("stream ", 0) == 0) {
                left = std::strtoull(line.c_str() + 7, nullptr, 10);
                number = 0;
            } else if (!line.empty()) {
                out += line + "\r\n";
            }
            line.clear();
        }
    }
}
