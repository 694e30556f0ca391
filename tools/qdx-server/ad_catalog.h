#pragma once
// The apps the reference server advertises: a deterministic list, so tests
// and the demo see the same names, ids and images on every run.
#include <string>

#include "common/json.h"

namespace qdx::server {

// The payload of a "get_recommend_list" answer: {"applist": [...]} with
// count apps. Image URLs point at this server's assets under origin (e.g.
// "https://api.qdx.example"). adType 4 (the recommend wall) gets 640x470
// card artwork in "ad_url"; every other type gets 720x110 banner artwork.
Json buildAdList(int count, long long adType, const std::string& origin);

// The display name of catalog app number (1-based): the same names repeat
// every eight apps with the number added.
std::string catalogAppName(int number);

// The store link of catalog app number, on a host that never resolves
// (".invalid"), so no test or demo reaches a real store.
std::string storeLink(int number);

}  // namespace qdx::server
