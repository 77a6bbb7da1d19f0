/* Unit tests of newclient: a host in the memory of this process calls the client and answers it. */

#include <stdio.h>
#include <string.h>

#include <velt/api.h>
#include <velt/mock.h>

enum { COUNT = 1 };

static int failures;

#define CHECK(condition)                                                                           \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            fprintf(stderr, "%s:%d: %s does not hold\n", __FILE__, __LINE__, #condition);          \
            failures++;                                                                            \
        }                                                                                          \
    } while (0)

/* The client tells the number of components, in the language of the session. */
static void counts(const char *book, const char *told)
{
    char alert[256];

    snprintf(alert, sizeof alert,
             "{\"call\": \"api_vq_alert_1\", \"arguments\": {\"str1\": \"%s\"}, "
             "\"answer\": \"model\"}",
             told);
    CHECK(V_MockOpen(book, NULL) == 0);
    CHECK(V_MockInitialize(0) == 0);
    CHECK(V_MockAnswer(alert) == 0);
    CHECK(V_MockCommand(COUNT) == 0);
    CHECK(V_MockCount("api_vq_alert_1") == 1);
    CHECK(V_MockClose() == 0);
}

/* Of a book that it cannot read the client tells why. */
static void tells_failures(const char *book)
{
    const char *alert;

    CHECK(V_MockOpen(book, NULL) == 0);
    CHECK(V_MockInitialize(0) == 0);
    CHECK(V_MockAnswer("{\"call\": \"api_vq_get_id_1\", \"answer\": \"error\"}") == 0);
    CHECK(V_MockCommand(COUNT) == 0);
    alert = V_MockCalls("api_vq_alert_1");
    CHECK(alert && strstr(alert, V_ApiErrorText(V_error_no_answer)));
    CHECK(V_MockClose() == 0);
}

int main(void)
{
    counts("{\"title\": \"Tea\", \"components\": [{\"name\": \"Leaves\"}, {\"name\": \"Water\"}]}",
           "Components of the book: 2");
    counts("{\"title\": \"Tee\", \"language\": \"deutsch\", \"components\": []}",
           "Teile des Buches: 0");
    tells_failures("{\"title\": \"Tea\", \"components\": []}");
    return failures > 0;
}
