#include "tests/face/FaceFixture.h"

#include "ZEL_Processor/LockFile.h"

using namespace std::chrono_literals;

namespace {

/// A call that fails says of which file, and what the system or the server said.
class FaceReasons : public CFaceFixture {
protected:
    static constexpr platform::eOsError kDenied = platform::eOsError_AccessDenied;
    static constexpr platform::eOsError kFull = platform::eOsError_DiskFull;

    [[nodiscard]] static std::string Words(platform::eOsError error)
    {
        return platform::ToUtf8(platform::OsErrorText(error));
    }
    template <class Value>
    static void ExpectReason(const zel::Result<Value>& result, zel::Code code, const std::wstring& file,
                             const std::string& words)
    {
        EXPECT_EQ(result.code(), code);
        EXPECT_NE(result.reason().find(platform::ToUtf8(file)), std::string::npos) << result.reason();
        EXPECT_NE(result.reason().find(words), std::string::npos) << result.reason();
        EXPECT_EQ(result.reason().find('\n'), std::string::npos) << result.reason();
    }
    [[nodiscard]] zel::Request Ended(const std::string& name)
    {
        zel::Request request = Sent(name);
        EXPECT_OK(request.wait(kPatience));
        return request;
    }
    [[nodiscard]] std::wstring FileOf(const std::wstring& prefix) const
    {
        for (const std::wstring& name : FilesIn(m_outputDir)) {
            if (name.starts_with(prefix))
                return In(m_outputDir, name);
        }
        ADD_FAILURE() << "no such file";
        return {};
    }
};

} // namespace

TEST_F(FaceReasons, WithoutADirectoryNothingIsMadeAnywhere)
{
    const zel::Client client(zel::Options{});
    const auto sent = client.send(zel::Text{"<Request/>"}, "a.drq");
    ASSERT_FALSE(sent);
    EXPECT_EQ(sent.error().code, zel::Code::fileError);
    EXPECT_EQ(sent.error().reason, "no directory for requests was given");
    EXPECT_FALSE(client.listen());
}

TEST_F(FaceReasons, ARequestThatIsNotHandedOver)
{
    const std::wstring target = In(m_requestDir, L"a.drq");
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailCall(testsupport::eFileCall_Move, 1, kFull, 1, L"a.drq");
    ExpectReason(m_face->send(zel::Text{"<Request/>"}, "a.drq"), zel::Code::fileError, target, Words(kFull));
    m_files.FailCall(testsupport::eFileCall_OpenLockFile, 1, kDenied, 1, L"a.drq");
    ExpectReason(m_face->send(zel::Text{"<Request/>"}, "a.drq"), zel::Code::fileError, target + L".lock",
                 Words(kDenied));
}

TEST_F(FaceReasons, ANameThatSomebodyElseSendsUnderJustNow)
{
    CLockFile sending(In(m_requestDir, L"a.drq"));
    ASSERT_TRUE(sending.Lock(false));
    ExpectReason(m_face->send(zel::Text{"<Request/>"}, "a.drq"), zel::Code::fileError, In(m_requestDir, L"a.drq.lock"),
                 Words(platform::eOsError_SharingViolation));
    sending.Unlock();
    EXPECT_OK(m_face->send(zel::Text{"<Request/>"}, "a.drq"));
}

TEST_F(FaceReasons, AFileThatCannotBeCopied)
{
    const std::wstring missing = In(m_clientDir, L"missing.drq");
    const std::error_code error = std::make_error_code(std::errc::no_such_file_or_directory);
    ExpectReason(m_face->send(PathOf(missing)), zel::Code::fileError, missing, error.message());
}

TEST_F(FaceReasons, AFolderThatCannotBeMade)
{
    zel::Options options = Options();
    options.own = PathOf(In(m_clientDir, L"nowhere"));
    const zel::Client client(options);
    const std::error_code error = std::make_error_code(std::errc::no_such_file_or_directory);
    ExpectReason(client.send(zel::Text{"<Request/>"}), zel::Code::fileError, In(m_clientDir, L"nowhere"),
                 error.message());
    ExpectReason(client.listen(), zel::Code::fileError, In(m_clientDir, L"nowhere"), error.message());
    Write(Queued(L"a.drq"));
    ExpectReason((*client.request("a.drq")).pause(), zel::Code::fileError, In(m_clientDir, L"nowhere"),
                 error.message());
}

TEST_F(FaceReasons, ACommandThatIsNotHandedOver)
{
    Write(Queued(L"a.drq"));
    const zel::Request request = Named("a.drq");
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailAlways(testsupport::eFileCall_Move, kDenied, L".command");
    ExpectReason(request.cancel(), zel::Code::fileError, m_requestDir, Words(kDenied));
    ExpectReason(request.pause(), zel::Code::fileError, m_requestDir, Words(kDenied));
    m_files.StopFailing();
    ExpectReason(request.resume(), zel::Code::notPaused, L"not paused", "waiting");
}

TEST_F(FaceReasons, ACommandThatIsNotWritten)
{
    Write(Queued(L"a.drq"));
    const zel::Request request = Named("a.drq");
    EXPECT_OK(m_face->send(zel::Text{"<Request/>"}, "b.drq")); // makes the folder
    const std::filesystem::path folder = *std::filesystem::directory_iterator(PathOf(m_clientDir));
    std::error_code error;
    std::filesystem::remove_all(folder, error);
    if (error)
        GTEST_SKIP() << "remove_all: the folder of a client that lives cannot be removed here: " << error.message();
    ExpectReason(request.cancel(), zel::Code::fileError, zel::detail::wide(folder),
                 Words(platform::eOsError_PathNotFound));
}

TEST_F(FaceReasons, AServerThatDoesNotAnswer)
{
    zel::Options options = Options();
    options.commandTimeout = 50ms;
    const zel::Client client(options);
    Write(Queued(L"a.drq"));
    ExpectReason((*client.request("a.drq")).pause(), zel::Code::noAnswer, m_requestDir, "within 50 ms");
    ExpectReason(client.listen(), zel::Code::noAnswer, m_requestDir, "within 50 ms");
}

TEST_F(FaceReasons, AStatusThatCannotBeRead)
{
    Run();
    const zel::Request request = Ended("a.drq");
    const std::wstring path = In(m_outputDir, L"a.drq.status");
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailAlways(testsupport::eFileCall_Open, kDenied, L"a.drq.status");
    EXPECT_EQ(request.status().state, zel::State::clientError);
    EXPECT_NE(request.status().comment.find(Words(kDenied)), std::string::npos) << request.status().comment;
    ExpectReason(request.wait(kPatience), zel::Code::fileError, path, Words(kDenied));
    ExpectReason(request.cancel(), zel::Code::fileError, path, Words(kDenied));
    ExpectReason(request.pause(), zel::Code::fileError, path, Words(kDenied));
    ExpectReason(request.resume(), zel::Code::fileError, path, Words(kDenied));
    ExpectReason(request.receive(PathOf(m_clientDir)), zel::Code::fileError, path, Words(kDenied));
    ExpectReason(request.forget(), zel::Code::fileError, path, Words(kDenied));
    m_files.StopFailing();
    EXPECT_OK(request.wait(kPatience));
}

TEST_F(FaceReasons, AResponseThatIsNotReceived)
{
    Run();
    const zel::Request request = Ended("a.drq");
    const std::wstring nowhere = In(In(m_clientDir, L"nowhere"), L"a.xml");
    ExpectReason(request.receive(PathOf(nowhere)), zel::Code::fileError, nowhere,
                 Words(platform::eOsError_PathNotFound));
    ASSERT_TRUE(platform::Succeeded(platform::Files().Remove(In(m_outputDir, L"a.drq"))));
    ExpectReason(request.receive(PathOf(m_clientDir)), zel::Code::unknownRequest, In(m_outputDir, L"a.drq"),
                 "there is no");
}

TEST_F(FaceReasons, ARequestThatIsNotForgotten)
{
    Run();
    const zel::Request request = Ended("a.drq");
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailAlways(testsupport::eFileCall_Remove, kDenied, L"a.drq");
    ExpectReason(request.forget(), zel::Code::fileError, In(m_outputDir, L"a.drq"), Words(kDenied));
    m_files.StopFailing();
    EXPECT_OK(request.forget());
}

TEST_F(FaceReasons, ARegistrationThatFails)
{
    Run();
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailAlways(testsupport::eFileCall_Move, kDenied, L".command");
    ExpectReason(m_face->listen(), zel::Code::refused, m_requestDir, Words(kDenied));
    m_files.StopFailing();
    m_files.FailAlways(testsupport::eFileCall_Watch, platform::eOsError_TooManyWatches, m_outputDir);
    ExpectReason(m_face->listen(), zel::Code::refused, m_outputDir, Words(platform::eOsError_TooManyWatches));
    m_files.StopFailing();
    static_cast<void>(m_host.TakeReports()); // of the thread that would watch
}

TEST_F(FaceReasons, ChangesThatAreNotTaken)
{
    Run();
    zel::Listener listener = std::move(m_face->listen()).value();
    m_pServer->OnChangedLockResults(); // makes the file
    EXPECT_OK(listener.wait(kPatience));
    const std::wstring events = FileOf(L"DsEvents_");
    const std::wstring groups = FileOf(L"InsertableItemsGroup_");
    const std::wstring results = FileOf(L"LockResultsChange_");
    for (const std::wstring& path : {events, groups, results}) {
        Write(path, "x");
        const platform::CScopedOs os(&m_files, nullptr);
        m_files.FailAlways(testsupport::eFileCall_OpenLockFile, kDenied, path);
        ExpectReason(listener.take(), zel::Code::fileError, path + L".lock", Words(kDenied));
        ExpectReason(listener.wait(0ms), zel::Code::fileError, path + L".lock", Words(kDenied));
        m_files.StopFailing();
        m_files.FailAlways(testsupport::eFileCall_Open, kDenied, path);
        ExpectReason(listener.take(), zel::Code::fileError, path, Words(kDenied));
        m_files.StopFailing();
        Write(path, {});
    }
    EXPECT_OK(listener.take());
}

TEST_F(FaceReasons, TheReasonOfACallIsItsOwnWhateverOtherThreadsDo)
{
    Run();
    const platform::CScopedOs os(&m_files, nullptr);
    m_files.FailAlways(testsupport::eFileCall_Move, kDenied, L".drq");
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([this, index] {
            const std::string name = std::to_string(index) + ".drq";
            for (int count = 0; count < 20; ++count) {
                const zel::Result<zel::Request> sent = m_face->send(zel::Text{"<Request/>"}, name);
                EXPECT_EQ(sent.code(), zel::Code::fileError);
                EXPECT_NE(sent.reason().find(name), std::string::npos) << sent.reason();
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    m_files.StopFailing();
}
