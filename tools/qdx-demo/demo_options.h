#pragma once
// The demo's command line.
#include <cstdint>
#include <cstdio>
#include <string>

namespace qdx::demo {

struct Options {
  std::string channel = "AppStore";
  std::int64_t appId = 10001;
  std::string appKey = "QDXDemoAppKey2016";  // the reference server's default app
  bool offline = false;
  bool startServer = true;
  std::string serverBinary;  // empty: the build's qdx-server
  bool debug = false;
  double runSeconds = 0.2;  // extra main-loop time after the first start
  std::string outDir = "out/demo";
  bool window = false;  // a live desktop window instead of the scripted session
  double scale = 1;     // the live window's pixels per point
  std::string samplePng;           // when set, only draw the sample scene there
  std::string relaunchScreenshot;  // set in the relaunched app (internal)
};

void printUsage(std::FILE* out);

// Parses argv into options; false (after a message on stderr) on bad input.
// --help prints the usage and exits.
bool parseOptions(int argc, char** argv, Options& options);

}  // namespace qdx::demo
