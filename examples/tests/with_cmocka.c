/* Tests with cmocka what wordcount does when the host fails. */

/* clang-format off */
#include <setjmp.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <cmocka.h> /* needs these before it */
/* clang-format on */

#include <velt/mock.h>

static int open_mock(void **state)
{
    (void)state;
    return V_MockOpen("tea.json", NULL) || V_MockInitialize(0);
}

/* Fails the test when something was expected and has not come, or the other way round. */
static int close_mock(void **state)
{
    (void)state;
    return V_MockClose();
}

static void tells_what_it_has_not_counted(void **state)
{
    (void)state;
    V_MockAnswer("{\"call\": \"api_vq_open_1\", \"times\": 3, \"answer\": {\"status\": -9}}");
    V_MockAnswer("{\"call\": \"api_vq_alert_1\"}");
    assert_int_equal(V_MockCommand(1), 0);
    assert_int_equal(V_MockCount("api_vq_close_1"), 0);
}

static void survives_a_lost_connection(void **state)
{
    (void)state;
    V_MockAnswer("{\"call\": \"api_vq_get_text_1\", \"nth\": 2, \"answer\": \"close\"}");
    assert_int_equal(V_MockCommand(1), -1);
    assert_int_equal(V_MockCount("api_vq_alert_1"), 0);
}

int main(void)
{
    const struct CMUnitTest tests[] = {
        cmocka_unit_test_setup_teardown(tells_what_it_has_not_counted, open_mock, close_mock),
        cmocka_unit_test_setup_teardown(survives_a_lost_connection, open_mock, close_mock),
    };

    return cmocka_run_group_tests(tests, NULL, NULL);
}
