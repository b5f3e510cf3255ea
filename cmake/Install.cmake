# What is installed, and how other projects find it.
