#include <Kavelin/Core/StateSeal.h>
#include <Poco/Checksum.h>
#include <Poco/Exception.h>

#include <cstring>

namespace Kavelin::Core {

std::uint32_t checksum(std::string_view bytes) {
    Poco::Checksum sum(Poco::Checksum::TYPE_CRC32);
    sum.update(bytes.data(), static_cast<unsigned>(bytes.size()));
    return sum.checksum();
}

std::string sealed(std::string_view mark, std::string_view bytes) {
    const std::uint32_t sum = checksum(bytes);
    std::string whole(mark);
    whole.append(reinterpret_cast<const char*>(&sum), sizeof sum);
    return whole.append(bytes);
}

std::string_view unsealed(std::string_view mark, std::string_view bytes, const std::string& what) {
    if (bytes.substr(0, mark.size()) != mark) throw Poco::DataFormatException("this is not " + what);
    bytes.remove_prefix(mark.size());
    std::uint32_t sum = 0;
    if (bytes.size() < sizeof sum) throw Poco::DataFormatException(what + " is damaged: it ends early");
    std::memcpy(&sum, bytes.data(), sizeof sum);
    bytes.remove_prefix(sizeof sum);
    if (checksum(bytes) != sum)
        throw Poco::DataFormatException(what + " is damaged: its checksum is not that of its bytes");
    return bytes;
}

}  // namespace Kavelin::Core
