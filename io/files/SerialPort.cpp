#include <Poco/Exception.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/ioctl.h>
#include <termios.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <optional>
#include <vector>

#include "io/files/LivePort.h"

namespace Kavelin::RecordingIO {

namespace {

struct Speed {
    unsigned baud;
    ::speed_t code;
};
constexpr Speed kSpeeds[] = {
    {1200, B1200},       {2400, B2400},       {4800, B4800},       {9600, B9600},       {19200, B19200},
    {38400, B38400},     {57600, B57600},     {115200, B115200},   {230400, B230400},   {460800, B460800},
    {500000, B500000},   {576000, B576000},   {921600, B921600},   {1000000, B1000000}, {1152000, B1152000},
    {1500000, B1500000}, {2000000, B2000000}, {2500000, B2500000}, {3000000, B3000000}, {3500000, B3500000},
    {4000000, B4000000}};

::speed_t speedOf(const LiveAddress& address) {
    const auto known = std::ranges::find(kSpeeds, address.baud, &Speed::baud);
    if (known != std::end(kSpeeds)) return known->code;
    std::string all;
    for (const Speed& speed : kSpeeds) all += (all.empty() ? "" : ", ") + std::to_string(speed.baud);
    throw Poco::OpenFileException(fmt::format("'{}': no serial device is set to {} baud; there are {}",
                                              address.device, address.baud, all));
}

class SerialPort : public LivePort {
public:
    explicit SerialPort(const LiveAddress& address) : address_(address), speed_(speedOf(address)) {
        if (const int error = open()) refuse(error);
    }
    ~SerialPort() override { restore(); }

    std::string name() const override { return address_.device; }
    std::string waitsFor() const override {
        return fmt::format("waiting for lines, at {} baud", address_.baud);
    }
    bool beginsMidLine() const override { return true; }
    std::string hintAboutRubbish() const override {
        return fmt::format("; the device is read at {} baud: is that its rate? Say another as {}?baud=9600",
                           address_.baud, address_.device);
    }
    int descriptor() const override { return fd_ ? fd_->get() : -1; }

    Received receive(char* into, std::size_t size) override {
        const ::ssize_t count = ::read(fd_->get(), into, size);
        if (count > 0) return {Received::Kind::kBytes, static_cast<std::size_t>(count)};
        if (count < 0 && (errno == EINTR || errno == EAGAIN)) return {};
        fd_.reset();  // unplugged: its settings went with it
        return {Received::Kind::kLoss};
    }

    bool reopen(const CloseEvent&) override { return open() == 0; }

private:
    /// @return 0, or the system's error number.
    int open() {
        const int fd = ::open(address_.device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0) return errno;
        fd_.emplace(fd);
        const int error = configure();
        if (error != 0) fd_.reset();
        return error;
    }

    int configure() {
        ::termios settings{};
        if (::tcgetattr(fd_->get(), &settings) != 0) return errno;
        before_ = settings;
        ::cfmakeraw(&settings);
        settings.c_cflag |= static_cast<::tcflag_t>(CLOCAL | CREAD);
        settings.c_cflag &= ~static_cast<::tcflag_t>(CSTOPB | CRTSCTS | PARENB | PARODD);
        if (address_.parity != LiveAddress::Parity::kNone) settings.c_cflag |= PARENB;
        if (address_.parity == LiveAddress::Parity::kOdd) settings.c_cflag |= PARODD;
        settings.c_cc[VMIN] = 1;
        settings.c_cc[VTIME] = 0;
        ::cfsetspeed(&settings, speed_);
        if (::tcsetattr(fd_->get(), TCSANOW, &settings) != 0) return errno;
        // Two programs that read one device would each get a part of its lines.
        return ::ioctl(fd_->get(), TIOCEXCL) == 0 ? 0 : errno;
    }

    void restore() const {
        if (!fd_) return;
        ::ioctl(fd_->get(), TIOCNXCL);
        if (before_) ::tcsetattr(fd_->get(), TCSANOW, &*before_);
    }

    [[noreturn]] void refuse(int error) const {
        std::string why = std::strerror(error);
        if (error == ENOENT || error == ENXIO || error == ENODEV)
            why = "there is no such device" + serialDevicesText();
        if (error == EACCES)
            why =
                "permission denied: serial devices belong to the group dialout. Join it with 'sudo adduser "
                "$USER "
                "dialout', then log in again";
        if (error == EBUSY) why = "another program uses it, such as a serial monitor: close it there";
        if (error == ENOTTY) why = "it is not a serial device";
        throw Poco::OpenFileException("cannot open '" + address_.device + "'", why);
    }

    const LiveAddress address_;
    const ::speed_t speed_;
    std::optional<Descriptor> fd_;
    std::optional<::termios> before_;
};

}  // namespace

std::unique_ptr<LivePort> openSerialPort(const LiveAddress& address) {
    return std::make_unique<SerialPort>(address);
}

std::string serialDevicesText() {
    namespace fs = std::filesystem;
    std::vector<std::string> found;
    std::error_code unknown;
    for (const auto& entry : fs::directory_iterator("/sys/class/tty", unknown)) {
        // Those with a driver, but for the sockets of a mainboard that may not be there.
        const std::string name = entry.path().filename().string();
        if (fs::exists(entry.path() / "device" / "driver", unknown) && !name.starts_with("ttyS"))
            found.push_back("/dev/" + name);
    }
    if (found.empty()) return "; no serial device is plugged in";
    std::ranges::sort(found);
    return fmt::format("; there {}: {}", found.size() == 1 ? "is" : "are", fmt::join(found, ", "));
}

}  // namespace Kavelin::RecordingIO
