// A test with the library on a host, which must have everything back at the end.
#pragma once

#include "Host/Runtime/Host.h"
#include "Source/SDK/GlueCode/PluginMain.h"

#include <gtest/gtest.h>
#include <optional>

class OnHost : public testing::Test {
  protected:
    void StartHost(const host::Options &options = {})
    {
        running.emplace(options);
        running->Start(REALPluginMain);
    }
    void TearDown() override { EXPECT_EQ(running ? running->Complaints() : "", ""); }

    std::optional<host::Host> running;
};
