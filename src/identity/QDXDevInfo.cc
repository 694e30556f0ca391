#include "identity/QDXDevInfo.h"

#include <array>
#include <cstdio>
#include <utility>

#include "identity/QDXSystemUtil.h"
#include "platform/env.h"

namespace qdx {

namespace {

// Machine identifier -> model name, compared in this order. No iPad rows;
// "iPod7,1" reads "iPod Touch 5G". Both are kept as the server knows them.
constexpr std::array<std::pair<const char*, const char*>, 22> kModelNames{{
    {"iPhone1,1", "iPhone 2G"},
    {"iPhone1,2", "iPhone 3G"},
    {"iPhone2,1", "iPhone 3GS"},
    {"iPhone3,1", "iPhone 4"},
    {"iPhone3,2", "Verizon iPhone 4"},
    {"iPhone4,1", "iPhone 4S"},
    {"iPhone5,1", "iPhone 5"},
    {"iPhone5,2", "iPhone 5"},
    {"iPhone5,3", "iPhone 5C"},
    {"iPhone5,4", "iPhone 5C"},
    {"iPhone6,1", "iPhone 5S"},
    {"iPhone6,2", "iPhone 5S"},
    {"iPhone7,1", "iPhone 6 Plus"},
    {"iPhone7,2", "iPhone 6"},
    {"iPhone8,1", "iPhone 6s"},
    {"iPhone8,2", "iPhone 6s Plus"},
    {"iPhone8,4", "iPhone SE"},
    {"iPod1,1", "iPod Touch 1G"},
    {"iPod2,1", "iPod Touch 2G"},
    {"iPod3,1", "iPod Touch 3G"},
    {"iPod4,1", "iPod Touch 4G"},
    {"iPod7,1", "iPod Touch 5G"},
}};

std::string pixelSize(const ScreenMetrics& screen) {
  char text[64];
  std::snprintf(text, sizeof text, "%.0fx%.0f", screen.width * screen.scale,
                screen.height * screen.scale);
  return text;
}

}  // namespace

QDXDevInfo::QDXDevInfo()
    : brand(getDeviceVersion()),
      adr_ver(QDXSystemUtil::getOSVer()),
      imei(Env::Default()->advertisingIdentifier()) {}

Json QDXDevInfo::getDeviceInfo() {
  const std::string screen = pixelSize(Env::Default()->mainScreen());
  const unsigned code = getNetworkTypeFromStatusBar();
  if (code == 0) {
    net_type = 0;
  } else if (code == 1) {
    net_type = 1;
  } else if (code <= 4) {
    net_type = 2;
  } else if (code == 5) {
    net_type = 3;
  }  // Codes above 5 leave net_type as it was.

  Json info = Json::object();
  info["imei"] = imei;
  info["operators"] = "";
  info["net_type"] = net_type;
  info["brand"] = brand;
  info["adr_ver"] = adr_ver;
  info["screen"] = screen;
  return info;
}

unsigned QDXDevInfo::getNetworkTypeFromStatusBar() {
  return Env::Default()->dataNetworkCode();
}

std::string QDXDevInfo::getDeviceVersion() const {
  return modelNameForMachine(Env::Default()->machineIdentifier());
}

std::string QDXDevInfo::modelNameForMachine(const std::string& machine) {
  for (const auto& [identifier, name] : kModelNames) {
    if (machine == identifier) return name;
  }
  return machine;
}

}  // namespace qdx
