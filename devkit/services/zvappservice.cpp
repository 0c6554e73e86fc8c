// The service library of a service process. Nothing of it is ever called: that it lies in services/
// beside a program is what tells the module that the program is the service process "app".
