#include "ad_catalog.h"

#include <array>

namespace qdx::server {
namespace {

struct CatalogApp {
  const char* name;
  const char* description;
  double useCount;  // in ten-thousands of users
  const char* tint;
};

// Names with two words check that a space survives (or not) the way the
// cipher treats it; use counts mix whole and fractional numbers; two tints
// are not six hex digits ("#FF8000" and "").
constexpr std::array<CatalogApp, 8> kApps = {{
    {"天天消除", "轻松好玩的三消游戏", 12, "3A7BD5"},
    {"快乐 农场", "种菜养殖，收获快乐", 2.5, "E94E77"},
    {"极速赛车", "指尖上的速度与激情", 150, "#FF8000"},
    {"记账 助手", "每一笔都清清楚楚", 0.5, "27AE60"},
    {"天气预报", "精准到小时的天气", 3, "8E44AD"},
    {"美食 日记", "记录每一道好味道", 7.25, "F39C12"},
    {"单词达人", "每天十分钟背单词", 42, ""},
    {"健身教练", "随时随地科学健身", 0.8, "C0392B"},
}};

}  // namespace

std::string storeLink(int number) {
  return "https://apps.qdx.invalid/app/id" + std::to_string(1000000 + number);
}

std::string catalogAppName(int number) {
  if (number < 1) return "";
  const CatalogApp& app = kApps[static_cast<std::size_t>(number - 1) % kApps.size()];
  std::string name = app.name;
  if (number > static_cast<int>(kApps.size())) name += std::to_string(number);
  return name;
}

Json buildAdList(int count, long long adType, const std::string& origin) {
  Json applist = Json::array();
  const std::string assets = origin + "/qdx/assets";
  for (int i = 1; i <= count; ++i) {
    const CatalogApp& app = kApps[static_cast<std::size_t>(i - 1) % kApps.size()];
    const std::string name = catalogAppName(i);
    const std::string number = std::to_string(i);
    Json ad = Json::object();
    ad["ad_id"] = std::to_string(50000 + i);
    ad["ad_url"] = assets + (adType == 4 ? "/wall/" : "/banner/") + number + ".png";
    ad["ad_down_url"] = storeLink(i);
    ad["ad_desc"] = app.description;
    ad["expand"] = app.tint;
    Json entry = Json::object();
    entry["appid"] = std::to_string(20000 + i);
    entry["appname"] = name;
    entry["icon"] = assets + "/icon/" + number + ".png";
    double whole = static_cast<double>(static_cast<long long>(app.useCount));
    if (whole == app.useCount) {
      entry["use_count"] = static_cast<long long>(app.useCount);
    } else {
      entry["use_count"] = app.useCount;
    }
    entry["adlist"] = Json::array({ad});
    applist.push_back(entry);
  }
  Json payload = Json::object();
  payload["applist"] = applist;
  return payload;
}

}  // namespace qdx::server
