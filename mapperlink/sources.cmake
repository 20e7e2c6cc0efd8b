# Mapper link: notification channel, Mapper control, script runner.
