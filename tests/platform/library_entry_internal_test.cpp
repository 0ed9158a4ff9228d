// This library's own entry: its resources, instance slot and entry routine, which the shared
// object does not export because every module has functions of these names for itself.
#include "platform/internal/library_entry.h"

#include <platform/app.h>
#include <platform/module_entry.h>

#include <gtest/gtest.h>

TEST(LibraryEntry, ResourcesSlotAndEntryRoutine) {
    const zulplatform::CResourceData& own = zulplatform::GetResourceData();
    zulplatform::InitResources(); // a second fill rebuilds the same contents
    EXPECT_EQ(own.GetStringTable().size(), 15u);
    zulplatform::IModule* self = zulplatform::GetInstance();
    EXPECT_EQ(*static_cast<zulplatform::IModule**>(zulplatform::_GetInstance()), self);
    EXPECT_TRUE(self != nullptr && zulplatform::ThisModule() == self && GetModule() == self);
    EXPECT_EQ(zulplatform::DllMain(self, 7, nullptr), 1); // unknown reasons do nothing
    EXPECT_EQ(zulplatform::GetInstance(), self);
}
