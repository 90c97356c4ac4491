#version 330 core

in vec2 uv;
out vec4 pixel;

uniform int width;
uniform int height;
uniform float iTime;
uniform vec2 mouse;
uniform bool pressed;

#define iResolution vec3(float(width), float(height), 1.0)
#define iMouse (vec4(mouse, mouse) * iResolution.xyxy * vec4(1.0, 1.0, pressed ? 1.0 : -1.0, -1.0))
#define iFrame int(iTime * 60.0 + 0.5)

// From here to the next such line it is as a shader player of the web would take it.

vec3 palette(float t) { return 0.5 + 0.5 * cos(6.28318 * (t + vec3(0.0, 0.33, 0.62))); }

void mainImage(out vec4 fragColor, in vec2 fragCoord) {
  vec2 p = (2.0 * fragCoord - iResolution.xy) / iResolution.y;
  if (iMouse.z > 0.0) p -= (2.0 * iMouse.xy - iResolution.xy) / iResolution.y;
  float r = length(p), angle = atan(p.y, p.x);
  vec3 color = vec3(0.015, 0.01, 0.03);
  for (int i = 0; i < 7; ++i) {
    float k = float(i), way = mod(k, 2.0) * 2.0 - 1.0, petals = 6.0 + 2.0 * k;
    float a = angle + way * 0.1 * iTime;
    float ring = 0.1 + 0.14 * k + 0.05 * sin(0.5 * iTime + 0.9 * k);
    float line = abs(r - ring - 0.075 * cos(petals * a));
    float echo = abs(r - ring - 0.075 * cos(petals * a + 3.14159));
    float bead = length(vec2(r - ring, ring * sin(0.5 * petals * a) * 2.0 / petals));
    color += palette(0.09 * k + 0.03 * iTime) * (0.006 / (line + 0.004) + 0.003 / (echo + 0.004) + 0.0025 / (bead + 0.004));
  }
  fragColor = vec4(1.0 - exp(-1.5 * color), 1.0);
}

// From here on it is the same for all.

void main() {
  mainImage(pixel, uv * iResolution.xy);
  pixel.a = 1.0;
}
