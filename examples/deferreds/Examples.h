#pragma once

// The examples of docs/deferreds.md, each in a file of its own; main.cpp runs them in this order.
void awaitExample();
void typedExample();
void guardExample();
void executorExample();
void unhandledExample();
void pendingExample();
void combinatorsExample();
void enumerationExample();
void testingExample();
