#include "io/formats/Formats.h"

namespace Kavelin::RecordingIO {

const std::vector<Format>& formats() {
    static const std::vector<Format> all = {
        {"ximu3_folder", "x-IMU3: a folder a device, with Inertial.csv, Magnetometer.csv, Quaternion.csv",
         &planXimu3Folder},
        {"ngimu_folder", "NGIMU: a folder with sensors.csv and quaternion.csv", &planNgimuFolder},
    };
    return all;
}

}  // namespace Kavelin::RecordingIO
