/* Tests wordcount with plain asserts. */

#undef NDEBUG
#include <assert.h>
#include <string.h>

#include <velt/mock.h>

int main(void)
{
    assert(V_MockOpen("tea.json", NULL) == 0);
    assert(V_MockInitialize(0) == 0);
    assert(V_MockCommand(1) == 0);
    assert(V_MockCount("api_vq_alert_1") == 1);
    assert(strstr(V_MockCalls("api_vq_alert_1"), "\"The book has 98 words.\""));
    /* It closes what it has opened. */
    assert(V_MockCount("api_vq_close_1") == V_MockCount("api_vq_open_1"));
    assert(V_MockClose() == 0);
    return 0;
}
