// The points of a check-up, in one table.
#pragma once

#include <span>
#include <string_view>

#include "host/check/session.h"

namespace velt::host
{

struct Point {
    std::string_view name;
    std::string_view what; // the client is expected to do
    // The points without which this one cannot be met.
    const char *needs[3];
    std::string_view advice;
    // Throws Violation or Skipped.
    void (*examine)(const Subject &);
};

// Returns the points in the order in which they are examined.
std::span<const Point> points();

// How each of them is examined.
namespace examine
{

void start(const Subject &subject);
void initialisation(const Subject &subject);
void detached(const Subject &subject);
void description(const Subject &subject);
void no_description(const Subject &subject);
void no_host(const Subject &subject);
void localhost(const Subject &subject);

void commands(const Subject &subject);
void cancelled(const Subject &subject);
void hand_over(const Subject &subject);
void control(const Subject &subject);
void callbacks(const Subject &subject);
void procedures(const Subject &subject);
void nested(const Subject &subject);
void early(const Subject &subject);
void modal_dialog(const Subject &subject);

void slow_host(const Subject &subject);
void refused(const Subject &subject);
void unanswered(const Subject &subject);
void half_answered(const Subject &subject);
void disconnected(const Subject &subject);

void bail_out(const Subject &subject);
void quit(const Subject &subject);
void quit_in_dialog(const Subject &subject);
void exit_status(const Subject &subject);
void processes(const Subject &subject);
void descriptors(const Subject &subject);
void registration(const Subject &subject);
void vanished_host(const Subject &subject);

} // namespace examine
} // namespace velt::host
