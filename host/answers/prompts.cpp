#include "host/answers/answers.h"
#include "host/values/owned.h"

namespace velt::host
{
namespace
{

// Returns what the person has answered; refuses with `cancelled` when they have not.
template <class T>
T ask(Context &c, const Question &question)
{
    Reply reply = c.host.ask(question);
    T *answer = std::get_if<T>(&reply);
    check(answer != nullptr, cancelled);
    return std::move(*answer);
}

// The first string of a prompt is the question, the second the suggested answer.
template <class T, class Argument>
T prompt(Context &c, Question::Kind kind, const Argument &a, IntT detail = 0)
{
    return ask<T>(c, {.kind = kind,
                      .client = c.client.number,
                      .text = text(a.str1),
                      .suggestion = text(a.str2),
                      .detail = detail});
}

// The argument holds the document in which something is wanted, and the object or 0.
template <class T, class Argument>
T ask_within(Context &c, Question::Kind kind, const Argument &a)
{
    if (a.id2 == 0)
        c.model.check_document(a.id1);
    else
        c.model.object(a.id1, a.id2);
    return ask<T>(c, {.kind = kind, .client = c.client.number});
}

IntT choose(Context &c, Question::Kind kind, const char *title, const V_StringsT &items)
{
    Question question{.kind = kind, .client = c.client.number, .text = text(title)};
    for (UIntT i = 0; i < items.len; i++)
        question.items.push_back(text(items.val[i]));
    check(!question.items.empty(), bad_value);
    return ask<IntT>(c, question);
}

} // namespace

// An alert that was cancelled is answered with -1.
void Answer<api_vq_alert_1>::answer(Context &c, const ApiVqAlertArgT &a, IntT &r)
{
    const Reply reply = c.host.ask({.kind = Question::alert,
                                    .client = c.client.number,
                                    .text = text(a.str1),
                                    .suggestion = "0",
                                    .detail = a.int2});
    const IntT *number = std::get_if<IntT>(&reply);
    r = number ? *number : -1;
}

void Answer<api_vq_prompt_int_1>::answer(Context &c, const ApiVqPromptArgT &a,
                                         ApiVqPromptIntRetT &r)
{
    r.status = status_of([&] { r.result = prompt<IntT>(c, Question::integer, a); });
}

void Answer<api_vq_prompt_string_1>::answer(Context &c, const ApiVqPromptArgT &a,
                                            ApiVqPromptStringRetT &r)
{
    r.status =
        status_of([&] { r.result = owned_string(prompt<std::string>(c, Question::string, a)); });
}

void Answer<api_vq_prompt_metric_1>::answer(Context &c, const ApiVqPromptMetricArgT &a,
                                            ApiVqPromptMetricRetT &r)
{
    r.status = status_of([&] { r.result = prompt<IntT>(c, Question::length, a, a.int3); });
}

void Answer<old_api_vq_choose_file_1>::answer(Context &c, const oldApiVqChooseFileArgT &a,
                                              ApiVqChooseFileRetT &r)
{
    r.status =
        status_of([&] { r.result = owned_string(prompt<std::string>(c, Question::file, a)); });
}

void Answer<api_vq_choose_file_1>::answer(Context &c, const ApiVqChooseFileArgT &a,
                                          ApiVqChooseFileRetT &r)
{
    r.status =
        status_of([&] { r.result = owned_string(prompt<std::string>(c, Question::file, a)); });
}

void Answer<api_vq_scroll_box_1>::answer(Context &c, const ApiVqScrollBoxArgT &a,
                                         ApiVqScrollBoxRetT &r)
{
    r.status = status_of([&] { r.result = choose(c, Question::scroll_box, a.str1, a.strings3); });
}

void Answer<api_vq_quick_select_1>::answer(Context &c, const ApiVqQuickSelectArgT &a,
                                           ApiVqQuickSelectRetT &r)
{
    r.status = status_of([&] {
        c.model.check_document(a.id1);
        r.result = choose(c, Question::quick_select, a.str2, a.strings3);
    });
}

void Answer<api_vq_prompt_point_1>::answer(Context &c, const ApiVqPromptPointArgT &a,
                                           ApiVqPromptPointRetT &r)
{
    r.status = status_of([&] { r.point = ask_within<V_PointT>(c, Question::point, a); });
}

void Answer<api_vq_prompt_rect_1>::answer(Context &c, const ApiVqPromptRectArgT &a,
                                          ApiVqPromptRectRetT &r)
{
    r.status = status_of([&] { r.rect = ask_within<RectT>(c, Question::rectangle, a); });
}

} // namespace velt::host
