/* What a program is that was built by another compiler: none of the library's C or C++ runtime, and none of its own, for
 * the headers of the platform's runtime are not here. Sends a request, waits, and writes the response to its standard
 * output. The directories are in the environment. */

#include <ZEL_Processor/zel.h>

enum { STANDARD_OUTPUT = -11, STANDARD_ERROR = -12 };

void* GetStdHandle(uint32_t which);
int WriteFile(void* file, const void* bytes, uint32_t length, uint32_t* written, void* overlapped);
uint32_t GetEnvironmentVariableA(const char* name, char* value, uint32_t size);
void ExitProcess(uint32_t code);
void mainCRTStartup(void);

static char requests[1024];
static char output[1024];

static void write_bytes(int where, const char* bytes, size_t length)
{
    uint32_t written = 0;
    WriteFile(GetStdHandle((uint32_t)where), bytes, (uint32_t)length, &written, NULL);
}

static void write_text(int where, const char* text)
{
    size_t length = 0;
    while (text[length] != '\0')
        ++length;
    write_bytes(where, text, length);
}

static int run(zel_client* client)
{
    static const char request[] = "<Request><Task Type=\"Hello\"><Name>Ada</Name></Task></Request>";
    char* name = NULL;
    zel_status* status = NULL;
    zel_bytes* response = NULL;
    int done = zel_send_text(client, request, sizeof request - 1, NULL, &name) == ZEL_OK &&
               zel_wait(client, name, 60000, NULL, &status) == ZEL_OK && status->state == ZEL_STATE_DONE &&
               zel_receive_bytes(client, name, &response) == ZEL_OK;
    if (done)
        write_bytes(STANDARD_OUTPUT, response->bytes, response->length);
    zel_free(response);
    zel_free(status);
    zel_free(name);
    return done;
}

void mainCRTStartup(void)
{
    zel_client* client = NULL;
    int done = 0;
    GetEnvironmentVariableA("FOREIGN_REQUESTS", requests, sizeof requests);
    GetEnvironmentVariableA("FOREIGN_OUTPUT", output, sizeof output);
    if (zel_abi_version() >= ZEL_ABI_VERSION && zel_client_open(requests, output, NULL, &client) == ZEL_OK)
        done = run(client);
    if (!done) {
        write_text(STANDARD_ERROR, zel_last_error()->text);
        write_text(STANDARD_ERROR, zel_last_error()->detail);
    }
    zel_client_close(client);
    ExitProcess(done ? 0 : 1);
}
