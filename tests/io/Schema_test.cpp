#include "io/recording/Schema.h"

#include "io/recording/ColumnNames.h"
#include "io/recording/Text.h"
#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;

/// "t/1000 3a[1,2,3]*9.80665": what a header was understood as, in one line.
std::string told(const Schema& schema) {
    const auto unit = [](const Unit& u) {
        std::string text;
        if (u.multiply != 1.0) text += "*" + std::to_string(u.multiply).substr(0, 7);
        if (u.divide != 1.0) text += "/" + std::to_string(static_cast<long>(u.divide));
        return text;
    };
    std::string text;
    if (schema.timeColumn) text += "t@" + std::to_string(*schema.timeColumn) + unit(schema.timeUnit);
    for (const Channel& channel : schema.channels) {
        text += (text.empty() ? "" : " ") + channel.pin + "@";
        std::vector<std::string> columns;
        for (const std::size_t column : channel.columns) columns.push_back(std::to_string(column));
        text += listed(columns) + unit(channel.unit);
        if (channel.rows != 1)
            text += " " + std::to_string(channel.rows) + "x" + std::to_string(channel.cols);
    }
    return text;
}

struct Row {
    const char* rule;
    const char* header;
    const char* mapping;
    const char* units;
    const char* understood;
};

TEST(Schema, understandsHeaders) {
    const Row rows[] = {
        {"the plain names", "t,ax,ay,az,gx,gy,gz,mx,my,mz,qw,qx,qy,qz", "", "",
         "t@0 3a@1, 2, 3 3g@4, 5, 6 3m@7, 8, 9 quat@10, 11, 12, 13"},
        {"any order and case", "MZ,My,mx,TIME", "", "", "t@3 3m@2, 1, 0"},
        {"units in parentheses", "Time (ms),Accelerometer X (g),Accelerometer Y (g),Accelerometer Z (g)", "",
         "", "t@0/1000 3a@1, 2, 3*9.80665"},
        {"units in brackets", "timestamp [us],gyr_x [deg/s],gyr_y [deg/s],gyr_z [deg/s]", "", "",
         "t@0/1000000 3g@1, 2, 3*3.14159/180"},
        {"gauss is not g", "t,mx (G),my (G),mz (G)", "", "", "t@0 3m@1, 2, 3*100.000"},
        {"tabs, the numbered quaternion", "t\tAcc_X\tAcc_Y\tAcc_Z\tQuat_q0\tQuat_q1\tQuat_q2\tQuat_q3", "",
         "", "t@0 3a@1, 2, 3 quat@4, 5, 6, 7"},
        {"semicolons, quotes and blanks", " \"Time (s)\" ; gx; gy ;gz", "", "", "t@0 3g@1, 2, 3"},
        {"an option wins over the header", "t,gx (rad/s),gy (rad/s),gz (rad/s)", "", "3g=deg/s, t=ms",
         "t@0/1000 3g@1, 2, 3*3.14159/180"},
        {"a field of unknown unit passes", "t,mx (counts),my (counts),mz (counts)", "", "", "t@0 3m@1, 2, 3"},
        {"names of a result file",
         "t,attitude.00,attitude.01,attitude.10,attitude.11,v.x,v.y,v.z,r.w,r.x,r.y,r.z", "", "",
         "t@0 attitude@1, 2, 3, 4 2x2 v@5, 6, 7 r@8, 9, 10, 11"},
        {"mapping by name, number and unit", "stamp,a,b,c,flag", "t=stamp (us); 3a = a, #3, c (g); lock=flag",
         "", "t@0/1000000 3a@1, 2, 3*9.80665 lock@4"},
        {"mapping of a name with a unit in it", "t,u (deg),v (deg),w (deg)", "e = u (deg), v (deg), w (deg)",
         "", "t@0 e@1, 2, 3*3.14159/180"},
        {"mapping to a shape", "t,a,b,c,d,e,f", "m = a,b,c,d,e,f as 2x3", "", "t@0 m@1, 2, 3, 4, 5, 6 2x3"},
        {"quoted names in a mapping", "t;\"x, left\";y;z", "3a=\"x, left\",y,z", "", "t@0 3a@1, 2, 3"},
        {"mapping next to the known names", "t,ax,ay,az,temp", "temp = temp", "", "t@0 temp@4 3a@1, 2, 3"},
        {"the mapping takes the place of the names", "t,ax,ay,az,bx,by,bz", "3a=bx,by,bz", "",
         "t@0 3a@4, 5, 6"},
    };
    for (const Row& row : rows) {
        SchemaOptions options;
        options.mapping = row.mapping;
        options.units = parseUnits(row.units);
        EXPECT_EQ(told(understandHeader(row.header, options)), row.understood) << row.rule;
    }
}

TEST(Schema, refusesHeadersWithAReason) {
    const Row rows[] = {
        {"numbers", "0.0,1.0,2.0", "", "", "no header: the first line holds numbers"},
        {"no time", "ax,ay,az,temp", "", "",
         "no time column: found 3a (ax, ay, az); unknown: temp. Name a column t"},
        {"no channel", "t,foo,bar", "", "",
         "no sensor columns found; unknown: foo, bar. Map them with --map"},
        {"an axis missing", "t,ax,ay", "", "", "no sensor columns found; 3a lacks az: found ax, ay"},
        {"two, in a style of its own", "t,Gyro X (deg/s),foo", "", "",
         "3g lacks Gyro Y, Gyro Z: found Gyro X (deg/s); unknown: foo. Map them"},
        {"a name twice", "t,ax,ay,az,ax", "", "", "two columns, 2 and 5, are both named 'ax'"},
        {"an unknown unit", "t,ax (lbs),ay (lbs),az (lbs)", "", "",
         "'lbs' is not a unit for pin '3a'; known units: m/s^2"},
        {"mixed units", "t,ax (g),ay,az", "", "", "in different units: 'g' and ''"},
        {"a column that is not there", "t,a,b,c", "3a=a,b,d", "",
         "names a column 'd'; the file has t, a, b, c"},
        {"a pin twice", "t,a,b", "p=a;p=b", "", "gives pin 'p' twice"},
        {"a shape that does not fit", "t,a,b", "p=a,b as 3x1", "",
         "names 2 columns, not as many as its shape"},
        {"an absurd shape", "t,a,b", "p=a,b as 9223372036854775809x4", "", "names 2 columns, not as many"},
        {"no equals sign", "t,a", "p a", "", "has no '='"},
        {"two columns of time", "t,u,ax,ay,az", "t=t,u", "", "gives the time more than one column"},
        {"only a time", "t", "", "", "no sensor columns found. A recording has columns such as ax"},
        {"a unit for no pin", "t,gx,gy,gz", "", "gyr=deg/s",
         "'gyr', which is not a pin of this recording; found: t, 3g"},
    };
    for (const Row& row : rows) {
        SchemaOptions options;
        options.mapping = row.mapping;
        options.units = parseUnits(row.units);
        try {
            understandHeader(row.header, options);
            ADD_FAILURE() << row.rule << " was accepted";
        } catch (const Poco::DataFormatException& refusal) {
            EXPECT_THAT(refusal.message(), HasSubstr(row.understood)) << row.rule;
        }
    }
    EXPECT_THROW(parseUnits("3g:deg/s"), Poco::DataFormatException);
}

TEST(Schema, saysWhatItLeavesOut) {
    SchemaOptions options;
    options.units = {{"3a", "g"}, {"3m", "G"}};
    options.rate = 50;
    const Schema schema = understandHeader("t,ax,ay,az,gx,gy,pressure", options);
    EXPECT_THAT(schema.unknownColumns, testing::ElementsAre("gx", "gy", "pressure"));
    EXPECT_THAT(schema.notes,
                testing::ElementsAre("3g lacks gz: found gx, gy; the pin is not sent",
                                     "the unit given for '3m' is not used: there are no such columns",
                                     "the rate given is not used: the rows have time stamps"));
}

}  // namespace
}  // namespace Kavelin::RecordingIO
