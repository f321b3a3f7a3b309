// A stand-in ESP32 on a pseudo-terminal, for the serial monitor's tests, its benchmark and demos.
//
//   virtualboard            prints the port's path on the first line of stdout, then serves it
//
// Each time a program opens the port the board "comes out of reset": it prints a short boot
// banner. Then it echoes every line it receives (ended by CR or LF) back with CR LF. The line
// "stream N" makes it send N bytes of log text as fast as the reader takes them, nothing after.
// It runs until it is killed.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

namespace {

const char kBanner[] = "ets Jun  8 2016 00:22:57\r\n"
                       "\r\n"
                       "rst:0x1 (POWERON_RESET),boot:0x13 (SPI_FAST_FLASH_BOOT)\r\n"
                       "configsip: 0, SPIWP:0xee\r\n"
                       "mode:DIO, clock div:1\r\n"
                       "entry 0x400806b4\r\n"
                       "virtual board ready\r\n";

void Nap(long milliseconds) {
    timespec t{milliseconds / 1000, (milliseconds % 1000) * 1000000L};
    nanosleep(&t, nullptr);
}

// Log text the way a chatty firmware prints it: numbered lines of 64 bytes, CR LF included.
class StreamSource {
public:
    void Start(unsigned long long count) {
        mLeft = count;
        mLine = 0;
        mLinePos = 0;
        Refill();
    }
    bool Done() const { return mLeft == 0; }
    // Up to max bytes of the stream, without consuming them.
    size_t Peek(const char** data, size_t max) const {
        size_t n = mText.size() - mLinePos;
        if (n > max)
            n = max;
        if (n > mLeft)
            n = size_t(mLeft);
        *data = mText.data() + mLinePos;
        return n;
    }
    void Consume(size_t n) {
        mLeft -= n;
        mLinePos += n;
        if (mLinePos >= mText.size()) {
            ++mLine;
            mLinePos = 0;
            Refill();
        }
    }

private:
    void Refill() {
        // Many lines at once, so that one write moves a pipe-full.
        mText.clear();
        char line[80];
        for (int i = 0; i < 64; ++i) {
            std::snprintf(line, sizeof line, "I (%010llu) stream: the quick brown fox jumps over it......\r\n",
                          mLine * 64 + i);
            mText += line;
        }
    }

    unsigned long long mLeft = 0;
    unsigned long long mLine = 0;
    std::string mText;
    size_t mLinePos = 0;
};

class Board {
public:
    explicit Board(int master) : mMaster(master) {}

    void Run() {
        for (;;) {
            if (!mAttached) {
                WaitForOpen();
                continue;
            }
            pollfd p{mMaster, short(POLLIN | (Pending() ? POLLOUT : 0)), 0};
            if (poll(&p, 1, -1) < 0) {
                if (errno == EINTR)
                    continue;
                std::exit(1);
            }
            if (p.revents & POLLHUP) {
                Detach();
                continue;
            }
            if (p.revents & POLLIN)
                ReadInput();
            if (mAttached && (p.revents & POLLOUT))
                WriteOutput();
        }
    }

private:
    bool Pending() const { return !mOut.empty() || !mStream.Done(); }

    void WaitForOpen() {
        // Without a reader the master reports a hang-up; once someone opens the port it stops.
        pollfd p{mMaster, POLLIN, 0};
        poll(&p, 1, 0);
        if (p.revents & POLLHUP) {
            Nap(10);
            return;
        }
        mAttached = true;
        // A real board needs a moment to come out of reset before it talks.
        Nap(20);
        mOut.assign(kBanner);
    }

    void Detach() {
        // The line is gone: whatever was on its way goes with it, and the next open resets.
        mAttached = false;
        mOut.clear();
        mStream.Start(0);
        mLine.clear();
    }

    void ReadInput() {
        char buf[4096];
        const ssize_t n = read(mMaster, buf, sizeof buf);
        if (n <= 0) {
            if (n < 0 && (errno == EAGAIN || errno == EINTR))
                return;
            Detach();
            return;
        }
        for (ssize_t i = 0; i < n; ++i) {
            const char c = buf[i];
            if (c == '\r' || c == '\n') {
                // CR LF is one line end, not an empty line after a line.
                if (!(c == '\n' && mLastWasCR && mLine.empty()))
                    LineReceived();
                mLastWasCR = c == '\r';
                continue;
            }
            mLastWasCR = false;
            mLine += c;
        }
    }

    void LineReceived() {
        unsigned long long count = 0;
        char extra = 0;
        if (std::sscanf(mLine.c_str(), "stream %llu%c", &count, &extra) == 1)
            mStream.Start(count);
        else
            mOut += mLine + "\r\n";
        mLine.clear();
    }

    void WriteOutput() {
        for (;;) {
            const char* data = nullptr;
            size_t size = 0;
            const bool fromStream = mOut.empty();
            if (fromStream)
                size = mStream.Peek(&data, 1 << 16);
            else {
                data = mOut.data();
                size = mOut.size();
            }
            if (size == 0)
                return;
            const ssize_t n = write(mMaster, data, size);
            if (n <= 0)
                return;
            if (fromStream)
                mStream.Consume(size_t(n));
            else
                mOut.erase(0, size_t(n));
        }
    }

    int mMaster;
    bool mAttached = false;
    bool mLastWasCR = false;
    std::string mLine;
    std::string mOut;
    StreamSource mStream;
};

} // namespace

int main() {
    int master = -1;
    int slave = -1;
    char name[256] = {};
    if (openpty(&master, &slave, name, nullptr, nullptr) != 0) {
        std::perror("openpty");
        return 1;
    }
    // Raw from the start, so that nothing the board says is echoed back or held for a line,
    // even in the moment before the monitor sets the line up itself.
    termios t{};
    tcgetattr(slave, &t);
    cfmakeraw(&t);
    tcsetattr(slave, TCSANOW, &t);
    close(slave);
    fcntl(master, F_SETFL, fcntl(master, F_GETFL) | O_NONBLOCK);

    std::printf("%s\n", name);
    std::fflush(stdout);

    Board(master).Run();
}
