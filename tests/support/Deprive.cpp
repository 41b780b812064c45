// Runs a program as on a machine that cannot put some measures of the sandbox in force.
//
//     Deprive MEASURE=ERROR[,MEASURE=ERROR ...] PROGRAM ARGUMENT ...
//
// What each measure asks of the system is answered with the error: ENOSYS, EOPNOTSUPP, EPERM,
// EINVAL or EAGAIN.

#include <cerrno>
#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

struct Call
{
    int number;
    std::vector<scmp_arg_cmp> arguments;
};

Call ProcessControl(int operation)
{
    return {SCMP_SYS(prctl), {{0, SCMP_CMP_EQ, scmp_datum_t(operation), 0}}};
}

/** As the C library sets it; asking for it works. */
Call Limit(__rlimit_resource_t resource)
{
    return {SCMP_SYS(prlimit64),
            {{1, SCMP_CMP_EQ, scmp_datum_t(resource), 0}, {2, SCMP_CMP_NE, 0, 0}}};
}

const std::map<std::string, std::vector<Call>>& Measures()
{
    static const std::map<std::string, std::vector<Call>> measures{
        {"privileges", {ProcessControl(PR_SET_NO_NEW_PRIVS), ProcessControl(PR_GET_NO_NEW_PRIVS)}},
        {"core", {ProcessControl(PR_SET_DUMPABLE), ProcessControl(PR_GET_DUMPABLE)}},
        {"core-limit", {Limit(RLIMIT_CORE)}},
        {"death", {ProcessControl(PR_SET_PDEATHSIG)}},
        {"fork", {{SCMP_SYS(clone), {}}, {SCMP_SYS(clone3), {}}, {SCMP_SYS(fork), {}}}},
        {"memory", {Limit(RLIMIT_AS)}},
        {"time", {Limit(RLIMIT_CPU)}},
        {"file-size", {Limit(RLIMIT_FSIZE)}},
        {"descriptors", {Limit(RLIMIT_NOFILE)}},
        {"processes", {Limit(RLIMIT_NPROC)}},
        {"landlock",
         {{SCMP_SYS(landlock_create_ruleset), {}},
          {SCMP_SYS(landlock_add_rule), {}},
          {SCMP_SYS(landlock_restrict_self), {}}}},
        {"landlock-last", {{SCMP_SYS(landlock_restrict_self), {}}}},
        {"seccomp", {{SCMP_SYS(seccomp), {}}, ProcessControl(PR_SET_SECCOMP)}}};
    return measures;
}

const std::map<std::string, int>& Errors()
{
    static const std::map<std::string, int> errors{{"ENOSYS", ENOSYS},
                                                   {"EOPNOTSUPP", EOPNOTSUPP},
                                                   {"EPERM", EPERM},
                                                   {"EINVAL", EINVAL},
                                                   {"EAGAIN", EAGAIN}};
    return errors;
}

bool Refuse(scmp_filter_ctx filter, const Call& call, int error)
{
    return seccomp_rule_add_array(filter, SCMP_ACT_ERRNO(unsigned(error)), call.number,
                                  unsigned(call.arguments.size()), call.arguments.data()) == 0;
}

bool RefuseAll(scmp_filter_ctx filter, const std::string& list)
{
    std::istringstream items(list);
    bool isComplete = true;
    for (std::string item; std::getline(items, item, ',');) {
        const std::size_t equals = item.find('=');
        const int error = Errors().at(item.substr(equals + 1));
        for (const Call& call : Measures().at(item.substr(0, equals)))
            isComplete = Refuse(filter, call, error) && isComplete;
    }
    return isComplete;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3)
        return 2;
    const scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ALLOW);
    // Root may load a filter and keep the right to new privileges; others give that up for it.
    seccomp_attr_set(filter, SCMP_FLTATR_CTL_NNP, ::geteuid() == 0 ? 0 : 1);
    if (RefuseAll(filter, argv[1]) && seccomp_load(filter) == 0)
        ::execv(argv[2], argv + 2);
    std::perror("Deprive");
    return 1;
}
