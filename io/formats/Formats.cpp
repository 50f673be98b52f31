#include "io/formats/Formats.h"

namespace Kavelin::RecordingIO {

const std::vector<Format>& formats() {
    static const std::vector<Format> all = {
        {"ximu3_folder", "x-IMU3: a folder a device, with Inertial.csv, Magnetometer.csv, Quaternion.csv",
         &planXimu3Folder},
        {"ximu3_ascii", "x-IMU3: its text messages, as they come from the unit or from a file of them",
         &planXimu3Ascii},
        {"ngimu_folder", "NGIMU: a folder with sensors.csv and quaternion.csv", &planNgimuFolder},
        {"xsens_mt_txt", "Xsens MT Manager: text export, or a folder with one for each device",
         &planXsensMtTxt},
        {"movella_dot_csv", "Movella DOT: csv of the app, or a folder with one for each sensor",
         &planMovellaDotCsv},
        {"ximu1_csv", "first x-IMU: NAME_CalInertialAndMag.csv, with --rate", &planXimu1Csv},
        {"apdm_csv", "APDM Opal: csv of all sensors", &planApdmCsv},
        {"shimmer_csv", "Shimmer Consensys: csv of one or several devices", &planShimmerCsv},
        {"phyphox", "phyphox: a folder or a zip archive with a file a sensor", &planPhyphox},
        {"sensor_logger", "Sensor Logger of iOS and Android: a folder or a zip archive with a file a sensor",
         &planSensorLogger},
        {"opensim_sto", "OpenSim: a table of orientations, .sto, as a reference", &planOpensimSto},
        {"matlab_mat", "MATLAB: arrays such as t, acc, gyr and mag, in structs or not", &planMatlabMat},
        // The last: names of files tell less than what is in them.
        {"sensor_files", "files named after their sensors: accelerometer.csv, gyroscope.csv, left_mag.csv",
         &planSensorFiles},
    };
    return all;
}

}  // namespace Kavelin::RecordingIO
