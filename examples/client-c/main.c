/* "zel send --wait" in C: client-c REQUESTS OUTPUT REQUEST RESPONSE
 * Hands the file REQUEST over, shows how it gets on, and takes the response. An interrupt cancels the request. The exit
 * code is 0 when the response is there. */

#include <ZEL_Processor/zel.h>

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>

static volatile sig_atomic_t interrupted = 0;

static void interrupt(int number)
{
    (void)number;
    interrupted = 1;
}

/* On a thread of the library, one call at a time. */
static void show(void* context, const zel_status* status)
{
    (void)context;
    printf("%s: %s", status->name, zel_state_name(status->state));
    if (status->percent >= 0)
        printf(" %d %%", (int)status->percent);
    printf(" %s\n", status->comment);
    fflush(stdout);
}

static int fail(void)
{
    const zel_error* error = zel_last_error();
    fprintf(stderr, "%s %s\n", error->text, error->detail);
    return EXIT_FAILURE;
}

/* A handler of a signal may call nothing of the library, so the wait looks now and then whether there was one. */
static zel_code wait_for_end(zel_client* client, const char* name)
{
    int canceled = 0;
    for (;;) {
        const zel_code code = zel_wait(client, name, 200, NULL, NULL);
        if (code != ZEL_TIMEOUT)
            return code;
        if (interrupted && !canceled) {
            canceled = 1;
            zel_cancel(client, name);
        }
    }
}

static int send_and_receive(zel_client* client, const char* request, const char* target)
{
    char* name = NULL;
    zel_follower* follower = NULL;
    int result = EXIT_SUCCESS;
    if (zel_send_file(client, request, NULL, &name) != ZEL_OK)
        return fail();
    if (zel_follow(client, name, show, NULL, &follower) != ZEL_OK || wait_for_end(client, name) != ZEL_OK ||
        zel_receive(client, name, target) != ZEL_OK)
        result = fail();
    zel_follower_close(follower);
    zel_free(name);
    return result;
}

int main(int argc, char** argv)
{
    zel_client* client = NULL;
    int result;
    if (argc != 5) {
        fprintf(stderr, "client-c REQUESTS OUTPUT REQUEST RESPONSE\n");
        return 2;
    }
    signal(SIGINT, interrupt);
    if (zel_client_open(argv[1], argv[2], NULL, &client) != ZEL_OK)
        return fail();
    result = send_and_receive(client, argv[3], argv[4]);
    zel_client_close(client);
    return result;
}
