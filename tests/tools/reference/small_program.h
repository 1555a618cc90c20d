// SPDX-License-Identifier: MIT
/// \file
/// A program with a few commands and every kind of option.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "tools/mlox/reference/helpformatter.h"

/// The program and what its options would fill.
struct SmallProgram {
  SmallProgram() {
    mApp.formatter(std::make_shared<tool::HelpFormatter>());
    mApp.footer("\nAbove.");
    CLI::App* playP = mApp.add_subcommand("play", "Play it, don't wait");
    playP->add_option("SONG", mText, "What to play")->required();
    playP->add_option("OUT", mOther, "Where to");
    playP->add_option("MORE", mMore, "What next");
    playP->add_option("--seconds", mSeconds, "How long")->option_text("S");
    playP->add_option("--through", mWay, "Which way")->check(CLI::IsMember({"buffered", "direct", "none"}));
    playP->add_flag("-j,--json", mJson, "As JSON");
    playP->footer("\nIt's .5 \\ long.\n.dots");
    CLI::App* studioP = mApp.add_subcommand("studio", "Instruments");
    CLI::App* addP = studioP->add_subcommand("add", "A new one");
    addP->add_option("PATH", mMore, "Its documents")->required();
    addP->add_option("--model", mText, "Its model")->required();
    mApp.add_subcommand("secret", "Not for help")->group("");
  }

  CLI::App mApp{"A small program.", "small"};
  std::string mText;
  std::string mOther;
  std::vector<std::string> mMore;
  std::string mWay;
  double mSeconds = 0;
  bool mJson = false;
};
