#pragma once
// In no layer of the fixture's table.
