#include "host/check/courses.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <system_error>

#include "common/nearest.h"
#include "common/words.h"

namespace velt::host
{
namespace
{

Course observed(const Subject &subject, const Step &step)
{
    Session session(subject);
    session.prepare(step);
    session.meddler.calls.clear();
    session.meddler.bailed_out = session.meddler.opened_dialog = false;
    session.carry_out(step);
    session.settle();
    // An end that was not announced is a failure here; others have points of their own.
    Client &client = session.client();
    if (client.is_going() && !session.meddler.bailed_out)
        session.host.wait_for_exit(client, subject.limit);
    if (!session.meddler.bailed_out && !client.running() && !client.ended_well())
        throw Violation{client.title() + ": " + client.ending() + ", after " + step.text};
    Course course{step, session.meddler.opened_dialog, session.meddler.bailed_out};
    for (const Procedure *each : session.meddler.calls) {
        const auto known =
            std::ranges::find(course.calls, each, [](const auto &call) { return call.first; });
        if (known == course.calls.end())
            course.calls.emplace_back(each, 1);
        else
            known->second++;
    }
    return course;
}

std::vector<Course> observe(const Subject &subject)
{
    std::vector<Course> courses{observed(subject, first_step)};
    std::vector<Step> commands;
    std::vector<std::string> labels;
    try {
        Session session(subject);
        commands = session.commands();
        for (const Step &each : session.commands(true))
            labels.push_back(each.label);
    } catch (const Skipped &) {
        // Of a client that ends when it is initialised there is no more to see.
    }
    for (const std::string &wanted : subject.commands)
        if (std::ranges::none_of(commands, [&](const Step &each) {
                return std::ranges::find(each.asked_for, wanted) != each.asked_for.end();
            })) {
            Nearest nearest(wanted);
            for (const std::string &each : labels)
                nearest.consider(each);
            throw Violation{"it defines no command " + wanted +
                                " in a menu; there are: " + joined(labels) + nearest.hint(),
                            {},
                            "give --command one of those, or define it in V_ApiInitialize"};
        }
    for (const Step &each : commands)
        courses.push_back(observed(subject, each));
    return courses;
}

// A line has a step, and the numbers of procedures and of their calls.
void write_courses(std::ostream &out, const std::vector<Course> &courses)
{
    for (const auto &[step, opens_dialog, bails_out, calls] : courses) {
        out << step.command.has_value() << ' ' << step.command.value_or(0) << ' ' << opens_dialog
            << ' ' << bails_out << ' ' << calls.size();
        for (const auto &[procedure, count] : calls)
            out << ' ' << procedure->number << ' ' << count;
        out << ' ' << step.text << '\n';
    }
}

std::vector<Course> read_courses(std::istream &in)
{
    std::vector<Course> courses;
    bool is_command;
    IntT command;
    std::size_t size;
    for (Course course;
         in >> is_command >> command >> course.opens_dialog >> course.bails_out >> size;
         course = {}) {
        if (is_command)
            course.step.command = command;
        rpcproc_t number;
        for (std::size_t count; size > 0 && in >> number >> count; size--)
            course.calls.emplace_back(find_procedure(host_procedures(), number), count);
        in.ignore();
        std::getline(in, course.step.text);
        courses.push_back(std::move(course));
    }
    return courses;
}

} // namespace

std::vector<Course> courses_of(const Subject &subject)
{
    const std::string path = subject.folder + "/courses";
    std::ifstream known(path);
    if (known)
        return read_courses(known);
    std::vector<Course> courses = observe(subject);
    std::ofstream file(path);
    write_courses(file, courses);
    if (!file.flush())
        throw std::system_error(errno, std::generic_category(), path);
    return courses;
}

std::vector<Course> commands_of(const Subject &subject)
{
    std::vector<Course> courses = courses_of(subject);
    std::erase_if(courses, [](const Course &each) { return !each.step.command; });
    const std::string none = "it defines no command in a menu";
    if (courses.empty() && subject.allow_no_commands)
        throw Skipped{none};
    if (courses.empty())
        throw Violation{none, "commands, without which little of a client can be examined",
                        "define them in V_ApiInitialize; give --book a book in which it does; or "
                        "give --allow-no-commands when it is to have none"};
    return courses;
}

std::vector<Course> dialogs_of(const Subject &subject)
{
    std::vector<Course> courses = commands_of(subject);
    std::erase_if(courses, [](const Course &each) { return !each.opens_dialog; });
    if (courses.empty())
        throw Skipped{"none of its commands opens a modal dialog"};
    return courses;
}

} // namespace velt::host
