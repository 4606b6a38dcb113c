#pragma once

#include "ZEL_Processor/ZelProcessor.h"
#include "com/ZelCom.h"
#include "tests/support/RecordingHost.h"
#include "tests/support/ScriptedPlugin.h"

#include <gtest/gtest.h>

#include <string>

/// Two scripted plug-ins, and a thread with COM.
class CTasksFixture : public testing::Test {
protected:
    CTasksFixture()
    {
        CoInitializeSYS(nullptr);
        CoInitializeZEL(nullptr);
    }
    ~CTasksFixture() override
    {
        CoUninitializeZEL();
        CoUninitializeSYS();
    }

    bool Create(const std::wstring& xml)
    {
        CZelProcessor processor;
        return processor.CreateAndInitTask(xml, m_task.Put());
    }
    /// The one box that was shown.
    SRecordedBox TakeBox()
    {
        const auto boxes = m_host.TakeBoxes();
        EXPECT_EQ(boxes.size(), 1U);
        return boxes.empty() ? SRecordedBox() : boxes[0];
    }

    CRecordingHost m_host;
    SPluginScript m_first;
    SPluginScript m_second;
    CScriptedPlugin m_plugin{m_first, &m_second};
    CComPtr<IWQ_ZELProcessorTask> m_task;
};
