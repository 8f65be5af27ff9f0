#pragma once

#include <initializer_list>

#include "tests/support/LogCapture.h"

// Parts of the provider's log that several whole logs have in common.
namespace wkt::test {

// The parts one after the other.
inline LogLines Joined(std::initializer_list<LogLines> parts) {
  LogLines whole;
  for (const LogLines& part : parts)
    whole.insert(whole.end(), part.begin(), part.end());
  return whole;
}

// The start-up upgrade: both databases as objects, none of them open when they are made and go.
inline const LogLines kUpgradeBegins = {
    ">CJobDatabase::UpgradeJobDatabases", ">CDatabaseAid::CDatabaseAid",
    "<CDatabaseAid::CDatabaseAid",        ">CJobDatabase::CJobDatabase",
    "<CJobDatabase::CJobDatabase",        ">CDatabaseAid::CDatabaseAid",
    "<CDatabaseAid::CDatabaseAid",        ">CJobDatabase::CJobDatabase",
    "<CJobDatabase::CJobDatabase",
};
inline const LogLines kUpgradeEnds = {
    ">CJobDatabase::~CJobDatabase",       "<CJobDatabase::~CJobDatabase",
    ">CDatabaseAid::~CDatabaseAid",       ">CDatabaseAid::CloseDatabase",
    "<CDatabaseAid::CloseDatabase",       "<CDatabaseAid::~CDatabaseAid",
    ">CJobDatabase::~CJobDatabase",       "<CJobDatabase::~CJobDatabase",
    ">CDatabaseAid::~CDatabaseAid",       ">CDatabaseAid::CloseDatabase",
    "<CDatabaseAid::CloseDatabase",       "<CDatabaseAid::~CDatabaseAid",
    "<CJobDatabase::UpgradeJobDatabases",
};

}  // namespace wkt::test
