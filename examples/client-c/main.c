/* "zel send --wait" in C: client-c REQUESTS OUTPUT REQUEST RESPONSE [SECONDS]
 * Hands the file REQUEST over, shows how it gets on, and takes the response. An interrupt cancels the request, a second
 * one ends the program. Without a server it gives up after SECONDS, else 30. The exit code is 0 when the response is
 * there. */

#include <ZEL_Processor/zel.h>

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>

static volatile sig_atomic_t interrupted = 0;

static void interrupt(int number)
{
    interrupted = 1;
    signal(number, SIG_DFL);
}

static void show(const zel_status* status)
{
    printf("%s: %s", status->name, zel_state_name(status->state));
    if (status->percent >= 0)
        printf(" %d %%", (int)status->percent);
    printf(" %s\n", status->comment);
    fflush(stdout);
}

/* On a thread of the library, one call at a time. The end is shown by whoever waits for it: he may close the follower
 * before that is told. */
static void follow(void* context, const zel_status* status)
{
    (void)context;
    if (!status->has_ended)
        show(status);
}

static int fail(zel_code code)
{
    const zel_error* error = zel_last_error();
    fprintf(stderr, "%s %s\n", zel_code_text(code), error->code == code ? error->detail : "");
    return EXIT_FAILURE;
}

/* Also where nobody can tell whether there is one. */
static int has_server(zel_client* client)
{
    zel_server_info* info = NULL;
    const int has = zel_get_server_info(client, &info) != ZEL_OK || info->presence != ZEL_PRESENCE_NONE;
    zel_free(info);
    return has;
}

/* A handler of a signal may call nothing of the library, so the wait looks now and then whether there was one. None of
 * these short waits is long enough to find that there is no server: that is counted here. */
static zel_code wait_for_end(zel_client* client, const char* name, long seconds, zel_status** status)
{
    enum { WAIT_MS = 200 };
    int canceled = 0;
    long missing_ms = 0;
    for (;;) {
        zel_code code = zel_wait(client, name, WAIT_MS, NULL, status);
        if (code != ZEL_TIMEOUT)
            return code;
        zel_free(*status);
        *status = NULL;
        if (interrupted && !canceled) {
            canceled = 1;
            code = zel_cancel(client, name);
            if (code != ZEL_OK && code != ZEL_HAS_ENDED)
                return code;
        }
        missing_ms = has_server(client) ? 0 : missing_ms + WAIT_MS;
        if (missing_ms >= seconds * 1000)
            return ZEL_NO_SERVER;
    }
}

static int send_and_receive(zel_client* client, const char* request, const char* target, long seconds)
{
    char* name = NULL;
    zel_follower* follower = NULL;
    zel_status* end = NULL;
    zel_code code = zel_send_file(client, request, NULL, &name);
    if (code == ZEL_OK)
        code = zel_follow(client, name, follow, NULL, &follower);
    if (code == ZEL_OK)
        code = wait_for_end(client, name, seconds, &end);
    zel_follower_close(follower);
    if (end != NULL)
        show(end);
    if (code == ZEL_OK)
        code = zel_receive(client, name, target);
    zel_free(end);
    zel_free(name);
    return code == ZEL_OK ? EXIT_SUCCESS : fail(code);
}

int main(int argc, char** argv)
{
    zel_client* client = NULL;
    zel_code code;
    int result;
    if (argc != 5 && argc != 6) {
        fprintf(stderr, "client-c REQUESTS OUTPUT REQUEST RESPONSE [SECONDS]\n");
        return 2;
    }
    signal(SIGINT, interrupt);
    code = zel_client_open(argv[1], argv[2], NULL, &client);
    if (code != ZEL_OK)
        return fail(code);
    result = send_and_receive(client, argv[3], argv[4], argc == 6 ? strtol(argv[5], NULL, 10) : 30);
    zel_client_close(client);
    return result;
}
