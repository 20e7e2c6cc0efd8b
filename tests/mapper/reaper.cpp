// vqx-reaper LOGFILE PROGRAM [ARG]...: runs PROGRAM and takes in every process it leaves behind
// (a subreaper), writing "start PID" for PROGRAM and "exit PID STATUS" or "signal PID SIG" for
// each process that ends, so that a test learns how a program started detached has ended.
// SIGTERM and SIGINT are passed on to PROGRAM; it ends when no process of its own is left.
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

static volatile sig_atomic_t theChild = 0;

static void passOn(int signo)
{
    if (theChild > 0)
        kill((pid_t)theChild, signo);
}

int main(int argc, char **argv)
{
    if (argc < 3) {
        fprintf(stderr, "usage: vqx-reaper LOGFILE PROGRAM [ARG]...\n");
        return 2;
    }
    FILE *log = fopen(argv[1], "a");
    if (!log) {
        perror(argv[1]);
        return 2;
    }
    if (prctl(PR_SET_CHILD_SUBREAPER, 1) != 0) {
        perror("vqx-reaper: PR_SET_CHILD_SUBREAPER");
        return 2;
    }
    pid_t child = fork();
    if (child < 0) {
        perror("vqx-reaper: fork");
        return 2;
    }
    if (child == 0) {
        execvp(argv[2], argv + 2);
        perror(argv[2]);
        _exit(127);
    }
    theChild = child;
    struct sigaction action = {};
    action.sa_handler = passOn;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    fprintf(log, "start %d\n", (int)child);
    fflush(log);
    int childStatus = 0;
    for (;;) {
        int status = 0;
        pid_t pid = waitpid(-1, &status, 0);
        if (pid < 0) {
            if (errno == EINTR)
                continue;
            break;
        }
        if (WIFEXITED(status))
            fprintf(log, "exit %d %d\n", (int)pid, WEXITSTATUS(status));
        else if (WIFSIGNALED(status))
            fprintf(log, "signal %d %d\n", (int)pid, WTERMSIG(status));
        fflush(log);
        if (pid == child) {
            theChild = 0;
            childStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
    }
    fclose(log);
    return childStatus;
}
